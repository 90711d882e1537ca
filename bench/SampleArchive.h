#pragma once

#include "sessions/SessionStore.h"

#include <filesystem>

namespace lingrelay::bench {

/// Session number `number` with so many lines of everyday length, every second text with letters that are not ASCII.
SessionStore::Session sampleSession(int number, int lines);

/// Writes `count` such sessions into the folder.
void fillArchive(std::filesystem::path const& folder, int count, int lines);

} // namespace lingrelay::bench
