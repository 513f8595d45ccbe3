#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Base/Result.h"

/// Folders that registering makes and unregistering removes again. A hidden note in each says
/// so; it goes with the last registration below it. So folders that were there before stay, also
/// when they are empty, and nothing else remains.
namespace corvane::Nmctl::MadeFolders {

/// The name of the note, and what it says.
extern const char* const noteName;
extern const char* const noteText;

/// The folders that are missing of the full path `folder`, the highest first.
std::vector<std::string> missing(const std::string& folder);

/// Makes those that are missing with `mode`, each with its note. What was made when a later step
/// fails is removed again.
Result<Done> make(const std::string& folder, mode_t mode);

/// Removes `folder` and those above it as far as they were made here and hold nothing else. One
/// that holds something else stays; its note goes, unless a folder made here is among that.
void remove(std::string folder);

}  // namespace corvane::Nmctl::MadeFolders
