#include "tools/corvane-main-app/ControlInput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <span>

#include "Base/Bytes.h"
#include "Platform/Descriptor.h"
#include "Platform/SystemCalls.h"

namespace corvane::MainApp {
namespace {

/// Calls `line` for each whole line in `text`, and leaves the rest in it.
void takeLines(std::string& text, UniqueFunction<void(std::string)>& line) {
  std::size_t begin = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    line(text.substr(begin, end - begin));
    begin = end + 1;
  }
  text.erase(0, begin);
}

}  // namespace

void ControlInput::start(int descriptor) {
  lines_ = loop_.onReadable(descriptor, [this, descriptor] { readLines(descriptor); });
}

void ControlInput::readLines(int descriptor) {
  std::array<std::byte, 4096> piece{};
  const auto count = Platform::Descriptor::read(descriptor, piece);
  if (!count && count.failure().cause == FailureCause::wouldBlock) return;
  if (count && count.value() > 0) {
    text_ += textOf(std::span(piece).first(count.value()));
    takeLines(text_, handlers_.line);
  } else {
    lines_ = {};
    handlers_.end();
  }
}

bool isHeldBySomebody(int descriptor) {
  struct stat status = {};
  if (Platform::systemCalls().fstat(descriptor, &status) != 0) return false;
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || ::isatty(descriptor) != 0;
}

}  // namespace corvane::MainApp
