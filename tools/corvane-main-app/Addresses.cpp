#include "tools/corvane-main-app/Addresses.h"

#include <algorithm>

namespace corvane::MainApp::Addresses {
namespace {

constexpr std::string_view hostCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";

void removePrefix(std::string_view& text, std::string_view prefix) {
  if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
}

std::string lowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return result;
}

}  // namespace

std::string hostOf(std::string_view url) {
  const std::size_t scheme = url.find("://");
  if (scheme != std::string_view::npos) url.remove_prefix(scheme + 3);
  url = url.substr(0, url.find_first_of("/?#"));
  const std::size_t user = url.rfind('@');
  if (user != std::string_view::npos) url.remove_prefix(user + 1);
  if (url.starts_with('[')) return lowered(url.substr(0, url.find(']') + 1));
  return lowered(url.substr(0, url.find(':')));
}

bool isHttps(std::string_view url, std::int64_t port) {
  constexpr std::int64_t httpsPort = 443;
  return url.starts_with("https://") || (port == httpsPort && !url.starts_with("http://"));
}

bool concerns(std::string_view rule, std::string_view host) {
  for (const std::string_view prefix : {"@@", "||", "|", "https://", "http://"})
    removePrefix(rule, prefix);
  const std::string domain = lowered(rule.substr(0, rule.find_first_not_of(hostCharacters)));
  if (domain.empty() || !host.ends_with(domain)) return false;
  return host.size() == domain.size() || host[host.size() - domain.size() - 1] == '.';
}

}  // namespace corvane::MainApp::Addresses
