#include "tools/corvane-nmctl/MainAppCheck/Ear.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <string_view>

#include "Platform/Container/ProcessFileName.h"
#include "Platform/Directories.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"

namespace corvane::Nmctl::MainAppCheck {

using Platform::NotificationDirectory;
using Platform::NotificationSocket;

Ear::Ear(const NotificationDirectory& folders)
    : folders_(folders), socketName_(Platform::ProcessFileName::make()) {
  auto socket =
      NotificationSocket::bind(folders.descriptor(), NotificationDirectory::hidden(socketName_));
  if (!socket) notShown("no socket can be had: " + socket.failure().text);
  socket_ = std::move(socket).value();
}

Ear::~Ear() {
  for (const std::string& name : names_) {
    folders_.unlink(socketName_, name);
    folders_.removeName(name);
  }
  folders_.removeSocket(socketName_);
}

void Ear::observe(const std::string& name) {
  names_.insert(name);
  const auto linked = folders_.link(socketName_, name);
  if (!linked) notShown("nothing can be observed: " + linked.failure().text);
}

bool Ear::isLinked(const std::string& name) const {
  struct stat status = {};
  const std::string link = name + "/" + socketName_;
  return ::fstatat(folders_.descriptor().number(), link.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<std::string> Ear::receive() {
  const auto name = socket_->receive();
  if (!name || name->empty()) return std::nullopt;
  return std::string(*name);
}

void Ear::fill() {
  // What lies unread counts against the one who sent it, too: others than the last still find room.
  constexpr int mostSenders = 100;
  constexpr std::string_view nothing = "nobody";
  for (int sender = 0; sender < mostSenders; ++sender) {
    const auto connection = NotificationSocket::connectedTo(
        folders_.descriptor(), NotificationDirectory::hidden(socketName_));
    int sent = 0;
    if (!connection) notShown(connection.failure().text);
    while (::send(connection->number(), nothing.data(), nothing.size(), MSG_DONTWAIT) > 0) ++sent;
    if (sent == 0) return;
  }
  notShown("a socket can't be filled up here");
}

}  // namespace corvane::Nmctl::MainAppCheck
