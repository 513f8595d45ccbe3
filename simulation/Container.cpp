#include "simulation/Container.h"

#include <unistd.h>

#include <cstdint>

#include "SharedComponents/Configuration.h"

namespace corvane::Simulation::Container {
namespace {

constexpr char home[] = "/home/user";

std::string registryFolder() {
  return path() + "/Applications/" + Configuration::MainAppBundleIdentifier;
}

/// Adds a line for each file below `folder` whose name begins with `of`.
void addFrom(const Node& folder, const std::string& of, std::string& lines) {
  if (!folder) return;
  for (const auto& [name, node] : folder->entries) {
    if (node->kind == Inode::Kind::folder) {
      addFrom(node, of, lines);
    } else if (name.starts_with(of) || name.starts_with("." + of)) {
      lines += folder->name + "/" + name + "\n";
    }
  }
}

}  // namespace

std::string path() {
  return std::string(home) + "/.local/share/group-containers/" + Configuration::AppGroupIdentifier;
}

Socket* observer(const FileSystem& files, const Process& process, std::string_view name) {
  const Node folder = files.at(path() + "/Notifications/" + Configuration::MainAppBundleIdentifier +
                               ".DARWIN_NOTIFICATION." + std::string(name));
  if (!folder) return nullptr;
  for (const auto& [entry, node] : folder->entries)
    if (entry.starts_with(std::to_string(process.id) + ".")) return node->socket.get();
  return nullptr;
}

void install(FileSystem& files) {
  files.write("/etc/passwd",
              "user:x:" + std::to_string(::geteuid()) + ":100::" + home + ":/bin/sh\n");
  files.write("/usr/bin/corvane-main-app", "");
  files.write(
      "/usr/share/applications/" + std::string(Configuration::MainAppBundleIdentifier) + ".desktop",
      "[Desktop Entry]\nType=Application\nName=Corvane\nExec=corvane-main-app\n");
  files.makeFolders(path() + "/Data");
}

bool isExchangeFile(const Inode& file) {
  return file.name.starts_with("Exchange");
}

bool isWellFormed(std::string_view bytes) {
  constexpr std::string_view archiveBegins = "bplist00";
  while (!bytes.empty()) {
    constexpr std::size_t lengthSize = 4;
    if (bytes.size() < lengthSize) return false;
    std::uint32_t length = 0;
    for (std::size_t i = 1; i <= lengthSize; ++i)
      length = length << 8U | static_cast<unsigned char>(bytes[bytes.size() - i]);
    if (length == 0 || length + lengthSize > bytes.size()) return false;
    bytes.remove_suffix(lengthSize);
    if (!bytes.substr(bytes.size() - length).starts_with(archiveBegins)) return false;
    bytes.remove_suffix(length);
  }
  return true;
}

std::string leftovers(const FileSystem& files, pid_t process) {
  const std::string of = process == 0 ? "" : std::to_string(process) + ".";
  std::string lines;
  addFrom(files.at(path() + "/Notifications"), of, lines);
  addFrom(files.at(registryFolder()), of, lines);
  return lines;
}

}  // namespace corvane::Simulation::Container
