#include "tools/corvane-nmctl/Storage.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <bit>
#include <cstdint>

#include "Platform/Random.h"
#include "tools/corvane-nmctl/Output.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

constexpr std::size_t probeSize = 16384;  // more than one block, and than what an inode may hold

}  // namespace

std::optional<Fault> storageFault(std::string path) {
  while (path.size() > 1 && ::access(path.c_str(), F_OK) != 0) path.resize(path.rfind('/'));
  // Random, so that no file that a killed process left is in the way.
  const auto suffix = std::bit_cast<std::uint64_t>(Platform::randomBytes<8>());
  const std::string probe = path + "/.corvane-nmctl." + std::to_string(suffix);
  const auto written = writeNewFile(probe, std::string(probeSize, '\0'), 0600);
  if (written) {
    ::unlink(probe.c_str());
    return std::nullopt;
  }
  struct statvfs system = {};
  const bool isKnown = ::statvfs(path.c_str(), &system) == 0;
  if (isKnown && (system.f_flag & ST_RDONLY) != 0)
    return Fault{Code("file-system-read-only"), "the file system is mounted read-only: " + path,
                 "mount it for writing; findmnt -T " + shellWord(path) + " shows it"};
  if (written.failure().cause != FailureCause::noSpace)
    return Fault{Code("folder-takes-no-file"),
                 "no file can be written in " + path + ": " + written.failure().text,
                 "let this user write there"};
  if (isKnown && system.f_files > 0 && system.f_favail == 0)
    return Fault{Code("file-system-without-inodes"),
                 "the file system has no room for another file (no inodes are left): " + path,
                 "remove files there; df -i " + shellWord(path) + " shows it"};
  return Fault{Code("file-system-full"),
               "the file system is full, or the user's quota of it is: " + path,
               "free space there; df -h " + shellWord(path) + " shows it"};
}

}  // namespace corvane::Nmctl
