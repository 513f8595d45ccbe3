#pragma once

#include <string>
#include <string_view>

/// As much of addresses and filtering rules as the stand-in must understand.
namespace corvane::MainApp::Addresses {

/// The host in `url`, in lower case; of a text that is no address, what stands before the first
/// slash or colon.
std::string hostOf(std::string_view url);

/// Whether the server of `url` at `port` speaks HTTPS.
bool isHttps(std::string_view url, std::int64_t port);

/// Whether the filtering rule `rule` names `host` or a domain above it, as "||example.org^" and
/// "example.org##.banner" do.
bool concerns(std::string_view rule, std::string_view host);

}  // namespace corvane::MainApp::Addresses
