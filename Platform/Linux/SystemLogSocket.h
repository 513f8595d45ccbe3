#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// Sends records to the daemon of the system log over its datagram socket, in the form of RFC 3164
/// (https://www.rfc-editor.org/rfc/rfc3164). Never waits: a record for which there is no room, or
/// no daemon, is dropped. That is why it is not syslog(3), which waits for a daemon that stands
/// still and so would hold up every reply. Safe from any thread.
class SystemLogSocket {
 public:
  /// `path`: the daemon's socket. `program`: the name under which the records appear.
  SystemLogSocket(std::string path, std::string program);

  /// Sends one record; `priority` as in syslog(3), facility and severity. Control characters in
  /// `text` are the daemon's business; what is longer than 8000 bytes is cut.
  void send(int priority, std::string_view text);

 private:
  bool connect();

  const std::string path_;
  const std::string program_;
  std::mutex mutex_;  // guards the socket while it is being connected
  OwnedDescriptor socket_;
};

}  // namespace corvane::Platform
