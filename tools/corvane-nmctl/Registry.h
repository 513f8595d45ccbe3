#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace corvane::Nmctl {

/// Of a mode, what the contract is about: a folder may inherit the rest.
constexpr mode_t permissions = 0777;

/// An instance of the main application that counts as running.
struct Instance {
  std::string file;  ///< the name of its file in the registry
  pid_t process = 0;
};

/// What the registry of the container says of the main application.
struct Registry {
  std::vector<Instance> running;
  std::vector<std::string> faults;  ///< what is against the contract, a sentence each
};

/// Looks at the registry in `container`. Takes no lock; safe from any thread.
Registry registryIn(const std::string& container);

}  // namespace corvane::Nmctl
