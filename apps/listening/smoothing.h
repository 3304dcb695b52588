#pragma once

#include "listening/samples.h"

namespace Listening {

/// `sound` without what is above 5 kHz: that says little that the rest does not, and a quarter of a sample of
/// delay changes it.
Signal Smooth(SampleView sound);

/// Nearly all of `sound` is above 5 kHz.
bool IsTreble(SampleView sound);

Signal ToSignal(SampleView sound);

} // namespace Listening
