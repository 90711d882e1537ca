#pragma once

#include "cli/commands/Arguments.h"
#include "sessions/SessionStore.h"

#include <string>

namespace lingrelay {

/// A session as a file of this form holds it.
std::string transcriptIn(Arguments::Form form, SessionStore::Session const& session);

} // namespace lingrelay
