#pragma once

#include <memory>

namespace corvane::Platform {

/// The right to read a descriptor, which one thread at a time has. To offer it and to take it back
/// wakes nobody: another thread that awaits it wakes when it is offered and there is something to
/// read. The thread that makes this object has the turn first. All operations are safe from any
/// thread.
class ReadingTurn {
 public:
  /// `descriptor` stays the caller's and must stay open.
  explicit ReadingTurn(int descriptor);
  ~ReadingTurn();  ///< nobody may be waiting

  /// False when the system lacked what it takes to wait; then nothing else of it may be used.
  [[nodiscard]] bool isUsable() const;

  ReadingTurn(const ReadingTurn&) = delete;
  ReadingTurn& operator=(const ReadingTurn&) = delete;

  /// Offers the turn, which the calling thread has, to one that awaits it: as soon as the
  /// descriptor can be read or has come to its end, or at once when `hasMore` says that the caller
  /// has read something already that is to be worked on.
  void offer(bool hasMore);

  /// Takes the turn if it is on offer; false when another thread was quicker.
  bool takeBack();

  /// Waits for the turn and takes it.
  void await();

 private:
  class Implementation;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
