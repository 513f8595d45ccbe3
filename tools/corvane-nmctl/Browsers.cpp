#include "tools/corvane-nmctl/Browsers.h"

#include <algorithm>

namespace corvane::Nmctl {
namespace {

#include "tools/corvane-nmctl/BrowserTable.h"

}  // namespace

std::span<const Browser> browsers() {
  return browserTable;
}

const Browser* findBrowser(std::string_view name) {
  const auto* found = std::find_if(std::begin(browserTable), std::end(browserTable),
                                   [&](const Browser& browser) { return browser.name == name; });
  return found == std::end(browserTable) ? nullptr : found;
}

}  // namespace corvane::Nmctl
