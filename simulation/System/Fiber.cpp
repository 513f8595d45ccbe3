#include "simulation/System/Fiber.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/common_interface_defs.h>
#endif

#include <boost/context/protected_fixedsize_stack.hpp>
#include <utility>
#include <vector>

namespace corvane::Simulation {
namespace {

using boost::context::stack_context;

constexpr std::size_t stackSize = std::size_t{256} << 10;

/// Stacks of fibers that have ended, for reuse: mapping a new one is slow.
std::vector<stack_context>& freeStacks() {
  static auto& stacks = *new std::vector<stack_context>;
  return stacks;
}

stack_context lastAllocated;

struct Stacks {
  stack_context allocate() {
    auto& stacks = freeStacks();
    if (stacks.empty()) {
      lastAllocated = boost::context::protected_fixedsize_stack(stackSize).allocate();
    } else {
      lastAllocated = stacks.back();
      stacks.pop_back();
    }
    return lastAllocated;
  }
  void deallocate(stack_context& stack) { freeStacks().push_back(stack); }
};

/// The context that resumed the running fiber.
boost::context::fiber* resumer = nullptr;

#ifdef __SANITIZE_ADDRESS__
/// Announces a switch of stacks to the address sanitizer (sanitizer/common_interface_defs.h):
/// construct it before the switch and call `end` after the switch back.
class StackSwitch {
 public:
  StackSwitch(const void* bottom, std::size_t size) {
    __sanitizer_start_switch_fiber(&saved_, bottom, size);
  }
  void end() { __sanitizer_finish_switch_fiber(saved_, &resumerBottom, &resumerSize); }
  static void begin() { __sanitizer_finish_switch_fiber(nullptr, &resumerBottom, &resumerSize); }
  /// For the last switch of a fiber, which never returns.
  static void leave() { __sanitizer_start_switch_fiber(nullptr, resumerBottom, resumerSize); }

  static inline const void* resumerBottom = nullptr;
  static inline std::size_t resumerSize = 0;

 private:
  void* saved_ = nullptr;
};
#else
struct StackSwitch {
  StackSwitch(const void* /*bottom*/, std::size_t /*size*/) {}
  void end() {}
  static void begin() {}
  static void leave() {}
  static inline const void* resumerBottom = nullptr;
  static inline std::size_t resumerSize = 0;
};
#endif

}  // namespace

Fiber::Fiber(std::function<void()> body)
    : context_(std::make_unique<boost::context::fiber>(
          std::allocator_arg, Stacks(),
          [body = std::move(body)](boost::context::fiber&& back) {
            StackSwitch::begin();
            boost::context::fiber here = std::move(back);
            resumer = &here;
            body();
            StackSwitch::leave();
            return here;
          })),
      stackBottom_(static_cast<const char*>(lastAllocated.sp) - stackSize) {}

Fiber::~Fiber() {
  if (!hasEnded()) (void)context_.release();
}

void Fiber::resume() {
  StackSwitch toFiber(stackBottom_, stackSize);
  *context_ = std::move(*context_).resume();
  toFiber.end();
}

void Fiber::suspend() {
  boost::context::fiber* const here = resumer;
  StackSwitch toResumer(StackSwitch::resumerBottom, StackSwitch::resumerSize);
  *here = std::move(*here).resume();
  toResumer.end();
  resumer = here;
}

}  // namespace corvane::Simulation
