#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// Returns the URL of the file `path`, an absolute path, as log lines name it:
/// "file:///a%20b/c.data" (RFC 8089, https://www.rfc-editor.org/rfc/rfc8089). Percent-encodes every
/// byte that may not stand in the path of a URL, and ";" (RFC 3986,
/// https://www.rfc-editor.org/rfc/rfc3986, section 3.3). Never looks at the file itself.
std::string fileUrl(std::string_view path);

}  // namespace corvane
