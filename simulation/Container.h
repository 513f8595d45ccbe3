#pragma once

#include <string>
#include <string_view>

#include "simulation/System/FileSystem.h"
#include "simulation/System/Kernel.h"

namespace corvane::Simulation::Container {

/// The shared container in the simulated file system.
std::string path();
inline std::string requests() {
  return path() + "/Data/ExchangeRequestContainer.data";
}

/// The socket with which `process` observes `name`, or nullptr.
Socket* observer(const FileSystem& files, const Process& process, std::string_view name);

/// Makes the files of a machine on which the product is installed.
void install(FileSystem& files);

/// No request is appended to a file that is longer, in bytes.
inline constexpr std::size_t fullFile = 10'240'000;

/// Whether `file` is an exchange file.
bool isExchangeFile(const Inode& file);
/// Whether `bytes` are a sequence of complete records.
bool isWellFormed(std::string_view bytes);

/// Returns the sockets, links and registrations in the container, one a line: those of `process`,
/// or all if that is 0.
std::string leftovers(const FileSystem& files, pid_t process);

}  // namespace corvane::Simulation::Container
