#pragma once

namespace lingrelay {

/// Opens standard input, output and error where the parent has closed them, on nothing. Else the next files that the
/// program opens would be taken for them. Called first of all.
void openStandardStreams();

} // namespace lingrelay
