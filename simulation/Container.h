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

/// The socket of `process` by which it hears of `name`; nothing if it does not observe that.
Socket* observer(const FileSystem& files, const Process& process, std::string_view name);

/// Makes what a machine has on which the product is installed.
void install(FileSystem& files);

/// Whether `file` is an exchange file.
bool isExchangeFile(const Inode& file);
/// Whether `bytes` are whole records, one behind the other.
bool isWellFormed(std::string_view bytes);

/// The sockets and links that processes have left in the container, as lines; those of `process`
/// only, unless that is 0.
std::string leftovers(const FileSystem& files, pid_t process);

}  // namespace corvane::Simulation::Container
