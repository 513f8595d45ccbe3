#include "VCommons/VCommonsKit/LentThread.h"

#include <utility>

namespace corvane {
namespace {
thread_local LentThread* lentThread = nullptr;
}  // namespace

LentThread::LentThread() {
  lentThread = this;
}

LentThread::~LentThread() {
  while (hasTurn()) useTurn();
  lentThread = nullptr;
}

LentThread* LentThread::current() {
  return lentThread;
}

void LentThread::useTurn() {
  if (turns_.empty()) return;
  DispatchQueue& queue = *turns_.front();
  turns_.pop_front();
  queue.useTurn();
}

void LentThread::passTurnsOn() {
  for (DispatchQueue* const queue : std::exchange(turns_, {})) queue->giveTurnToWorker();
}

}  // namespace corvane
