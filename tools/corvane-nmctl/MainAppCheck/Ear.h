#pragma once

#include <optional>
#include <set>
#include <string>

#include "Platform/Container/NotificationDirectory.h"
#include "Platform/Container/NotificationSocket.h"

namespace corvane::Nmctl::MainAppCheck {

/// A socket by which this process observes notifications. Removes with itself what it has made
/// in the container. One thread at a time.
class Ear {
 public:
  /// Binds a socket in `folders`, which must outlive it. Ends the examination when that fails.
  explicit Ear(const Platform::NotificationDirectory& folders);
  ~Ear();
  Ear(const Ear&) = delete;
  Ear& operator=(const Ear&) = delete;

  /// Observes the notification `name`, too.
  void observe(const std::string& name);

  /// Whether its link is still among the observers of `name`.
  [[nodiscard]] bool isLinked(const std::string& name) const;

  /// The notification that came first, if any has come.
  std::optional<std::string> receive();
  /// Can be read when one has come.
  [[nodiscard]] int descriptor() const { return socket_->descriptor(); }

  /// Closes the socket and leaves the links, as a process does that is killed. It hears nothing
  /// from then on.
  void die() { socket_.reset(); }

  /// Fills the socket up, with what nobody will read.
  void fill();

 private:
  const Platform::NotificationDirectory& folders_;
  const std::string socketName_;
  std::optional<Platform::NotificationSocket> socket_;
  std::set<std::string> names_;
};

}  // namespace corvane::Nmctl::MainAppCheck
