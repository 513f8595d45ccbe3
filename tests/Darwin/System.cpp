// Functions of Darwin's C library that Platform/macOS uses.
#include <dirent.h>
#include <dlfcn.h>
#include <libproc.h>
#include <malloc.h>
#include <malloc/malloc.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

/// libproc.h: gives the length of the path, 0 with an errno on failure; ESRCH without the process.
int proc_pidpath(int pid, void* buffer, uint32_t buffersize) {
  constexpr std::string_view mark = " (deleted)";  // Linux's
  std::string path(PROC_PIDPATHINFO_MAXSIZE, '\0');
  const std::string link = "/proc/" + std::to_string(pid) + "/exe";
  const ssize_t length = ::readlink(link.c_str(), path.data(), path.size());
  if (length < 0 && errno == ENOENT) errno = ESRCH;
  if (length < 0) return 0;
  path.resize(static_cast<std::size_t>(length));
  if (path.ends_with(mark) && ::access(path.c_str(), F_OK) != 0)
    path.resize(path.size() - mark.size());
  if (path.size() >= buffersize) {
    errno = ENOMEM;
    return 0;
  }
  std::ranges::copy(path, static_cast<char*>(buffer));
  return static_cast<int>(path.size());
}

/// closedir(3), in place of the C library's. POSIX leaves open where a copy of the descriptor reads
/// on; here from the start.
int closedir(DIR* listing) {
  static const auto real = reinterpret_cast<int (*)(DIR*)>(::dlsym(RTLD_NEXT, "closedir"));
  ::lseek(::dirfd(listing), 0, SEEK_SET);
  return real(listing);
}

/// malloc_zone_pressure_relief(3).
size_t malloc_zone_pressure_relief(malloc_zone_t* /*zone*/, size_t goal) {
  return static_cast<size_t>(::malloc_trim(goal));
}
