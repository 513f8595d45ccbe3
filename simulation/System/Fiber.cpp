#include "simulation/System/Fiber.h"

#include <boost/context/protected_fixedsize_stack.hpp>
#include <utility>
#include <vector>

namespace corvane::Simulation {
namespace {

using boost::context::stack_context;

constexpr std::size_t stackSize = std::size_t{256} << 10;

/// Stacks that nothing runs on, for the next fibers: to ask the system for each takes longer than
/// many a fiber lives.
std::vector<stack_context>& freeStacks() {
  static auto& stacks = *new std::vector<stack_context>;
  return stacks;
}

struct Stacks {
  stack_context allocate() {
    auto& stacks = freeStacks();
    if (stacks.empty()) return boost::context::protected_fixedsize_stack(stackSize).allocate();
    const stack_context stack = stacks.back();
    stacks.pop_back();
    return stack;
  }
  void deallocate(stack_context& stack) { freeStacks().push_back(stack); }
};

/// Whom the running fiber goes back to.
boost::context::fiber* resumer = nullptr;

}  // namespace

Fiber::Fiber(std::function<void()> body)
    : context_(std::allocator_arg, Stacks(),
               [body = std::move(body)](boost::context::fiber&& back) {
                 boost::context::fiber here = std::move(back);
                 resumer = &here;
                 body();
                 return here;
               }) {}

Fiber::~Fiber() {
  if (context_) (void)new boost::context::fiber(std::move(context_));
}

void Fiber::resume() {
  context_ = std::move(context_).resume();
}

void Fiber::suspend() {
  boost::context::fiber* const here = resumer;
  *here = std::move(*here).resume();
  resumer = here;
}

}  // namespace corvane::Simulation
