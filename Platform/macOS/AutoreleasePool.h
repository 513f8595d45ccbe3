#pragma once

namespace corvane::Platform {

/// What the system's frameworks put aside while it exists goes with it. On the stack only, for a
/// thread that calls them without a pool of its own.
class AutoreleasePool {
 public:
  AutoreleasePool();
  ~AutoreleasePool();
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;

 private:
  void* const pool_;
};

}  // namespace corvane::Platform
