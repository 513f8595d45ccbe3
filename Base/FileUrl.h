#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// The address of the file `path`, a full path, as log lines name it: "file:///a%20b/c.data". What
/// may not stand in an address is percent-encoded (RFC 8089,
/// https://www.rfc-editor.org/rfc/rfc8089; RFC 3986, https://www.rfc-editor.org/rfc/rfc3986,
/// section 3.3).
std::string fileUrl(std::string_view path);

}  // namespace corvane
