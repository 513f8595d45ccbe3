#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// Sends records to the system log daemon over its datagram socket, in the format of RFC 3164
/// (https://www.rfc-editor.org/rfc/rfc3164). Never blocks: if the socket has no room or there is no
/// daemon, the record is dropped. That is why this is not syslog(3), which waits for a daemon that
/// has stopped reading and would then delay every reply. Connects at the first record and
/// reconnects after the daemon was restarted. Thread-safe.
class SystemLogSocket {
 public:
  /// `path` is the socket of the daemon, `program` the name under which the records appear. Opens
  /// nothing yet.
  SystemLogSocket(std::string path, std::string program);

  /// Sends one record or drops it. `priority` is facility and severity, combined as in syslog(3).
  /// `text` is cut to 8000 bytes. Control characters in it are left to the daemon.
  void send(int priority, std::string_view text);

 private:
  bool connect();

  const std::string path_;
  const std::string program_;
  std::mutex mutex_;  // guards `socket_`
  OwnedDescriptor socket_;
};

}  // namespace corvane::Platform
