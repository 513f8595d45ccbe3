#include "Platform/OwnedDescriptor.h"

#include "Platform/SystemCalls.h"

namespace corvane::Platform {

OwnedDescriptor::~OwnedDescriptor() {
  // Never repeated: after EINTR the number may be another thread's.
  if (number_ >= 0) systemCalls().close(number_);
}

}  // namespace corvane::Platform
