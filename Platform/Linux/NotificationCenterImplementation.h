#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "Base/Result.h"
#include "Platform/Linux/EventThread.h"
#include "Platform/Linux/NotificationConnections.h"
#include "Platform/Linux/NotificationFolders.h"
#include "Platform/Linux/NotificationSocket.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Posix/NotificationCallbacks.h"

namespace corvane::Platform {

/// One socket and one thread serve all names. The thread takes no lock that anybody holds while
/// posting: so nobody who posts ever waits, through it, for a socket that it must empty.
class NotificationCenter::Implementation {
 public:
  explicit Implementation(std::string containerFolder);
  ~Implementation();
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  bool observe(const std::string& name, Callback callback);
  void stopObserving(const std::string& name);
  void post(const std::string& name);
  void withdraw();

  /// Binds another socket, for the mailbox that reads it, and gives its name; nothing, with a
  /// record in the system log, when that fails.
  std::optional<NotificationSocket> bindMailbox(std::string& socketName);
  /// Links that socket into the folder of `name`, unless it is there. False like bindMailbox.
  bool linkMailbox(const std::string& socketName, const std::string& name);
  /// Takes the socket and its links away.
  void removeSocket(const std::string& socketName);

  /// The thread that receives; it runs from the first name that is observed to `withdraw`. Whatever
  /// else the process must hear of may be received there too.
  EventThread& thread() { return thread_; }

 private:
  Result<Done> listen(const std::string& name);
  Result<Done> openSocket();
  Result<NotificationSocket> bind(std::string& socketName);
  Result<Done> link(const std::string& socketName, const std::string& name);
  void removeLinks(const std::string& socketName);
  void receive();

  const std::string containerFolder_;
  NotificationCallbacks callbacks_;

  std::mutex postMutex_;  // guards the observers of others, one post at a time
  std::map<std::string, NotificationConnections>
      connections_;  // by the names that this process posts

  std::mutex
      setupMutex_;  // guards what this process has in the file system, and the life of the thread
  std::optional<NotificationFolders> folders_;
  std::optional<NotificationSocket> socket_;  // read by the thread alone, from its start to its end
  std::string socketName_;
  std::map<std::string, std::set<std::string>> links_;  // of each socket: the names
  bool isWithdrawn_ = false;
  EventThread thread_;
};

}  // namespace corvane::Platform
