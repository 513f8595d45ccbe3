#include "Platform/Container/ProcessTable.h"

#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "Platform/Directories.h"
#include "Platform/File.h"
#include "Platform/Linux/LinuxCalls.h"

namespace corvane::Platform::ProcessTable {
namespace {

constexpr std::size_t longestTable = 16'000'000;  // bytes of text, some 200,000 locks

Result<std::string> textOfFile(const std::string& path) {
  auto file = File::open(path, File::Access::readThroughLinks);
  if (!file) return file.failure();
  const auto bytes = file->readAll(longestTable);
  if (!bytes) return bytes.failure();
  return std::string(textOf(bytes.value()));
}

/// Whether `process` has the file open, as far as this process may look.
bool hasOpen(pid_t process, const File::Status& file) {
  const std::string path = "/proc/" + std::to_string(process) + "/fd";
  const auto directory = Directories::open(path);
  const auto names = directory ? Directories::entries(directory.value()) : directory.failure();
  return names && std::any_of(names->begin(), names->end(), [&](const std::string& name) {
           std::string descriptor = path;
           const auto status = statusOf(descriptor.append("/").append(name));
           return status && status->inode == file.inode && status->device == file.device;
         });
}

/// The file as the table of locks names it.
std::string nameInTable(const File::Status& file) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%02x:%02x:%ju", major(file.device), minor(file.device),
                static_cast<std::uintmax_t>(file.inode));
  return text.data();
}

}  // namespace

Result<std::chrono::seconds> ageOf(pid_t process) {
  constexpr int fieldsBetween = 19;  // behind the program's name, before the start time
  const auto text = textOfFile("/proc/" + std::to_string(process) + "/stat");
  if (!text) return text.failure();
  std::istringstream fields(text->substr(text->rfind(')') + 1));  // names may hold anything
  std::string passed;
  for (int i = 0; i < fieldsBetween; ++i) fields >> passed;
  long long ticks = 0;
  timespec now = {};
  if (!(fields >> ticks) || linuxCalls().clockGettime(CLOCK_BOOTTIME, &now) != 0)
    return Failure{FailureCause::malformed, "the start time can't be read"};
  const auto age = now.tv_sec - ticks / ::sysconf(_SC_CLK_TCK);
  return std::chrono::seconds(std::max<long long>(age, 0));
}

Result<std::vector<pid_t>> lockHoldersOf(const std::string& path) {
  const auto file = statusOf(path);
  if (!file) return file.failure();
  const auto table = textOfFile("/proc/locks");
  if (!table) return table.failure();
  const std::string wanted = nameInTable(file.value());
  const std::string inode = wanted.substr(wanted.rfind(':'));
  std::vector<pid_t> holders;
  std::istringstream lines(table.value());
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string number;
    std::string kind;  // "->" for a process that waits
    std::string passed;
    std::string name;
    pid_t process = 0;
    if (!(fields >> number >> kind >> passed >> passed >> process >> name)) continue;
    if (kind != "FLOCK" || !name.ends_with(inode) || process <= 0) continue;
    // Some file systems, as btrfs, show another device in the table than in the status of a file.
    if (name == wanted || hasOpen(process, file.value())) holders.push_back(process);
  }
  return holders;
}

}  // namespace corvane::Platform::ProcessTable
