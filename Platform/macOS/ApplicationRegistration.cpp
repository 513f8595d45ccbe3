#include "Platform/ApplicationRegistration.h"

#include <utility>

namespace corvane::Platform {

class ApplicationRegistration::Implementation {};

Result<ApplicationRegistration> ApplicationRegistration::make(
    const std::string& /*containerFolder*/, const std::string& /*bundleIdentifier*/,
    NotificationCenter& /*center*/) {
  return ApplicationRegistration(nullptr);
}

ApplicationRegistration::ApplicationRegistration(std::unique_ptr<Implementation> implementation)
    : implementation_(std::move(implementation)) {}
ApplicationRegistration::ApplicationRegistration(ApplicationRegistration&& other) noexcept =
    default;
ApplicationRegistration& ApplicationRegistration::operator=(
    ApplicationRegistration&& other) noexcept = default;
ApplicationRegistration::~ApplicationRegistration() = default;

}  // namespace corvane::Platform
