#pragma once

#include <cstdint>
#include <string>

#include "Base/Value.h"

/// What the requests of played hosts are about: a site that nobody visits and a rule that nobody
/// has, new in each process.
namespace corvane::Nmctl::MainAppCheck::Subject {

const std::string& domain();
const std::string& page();
const std::string& rule();

inline constexpr std::int64_t port = 443;
inline constexpr char app[] = "corvane-nmctl";

/// The parameters of getCurrentFilteringState.
Dictionary look();

}  // namespace corvane::Nmctl::MainAppCheck::Subject
