#pragma once

#include "listening/samples.h"
#include "page/reportmodel.h"

namespace AudioHost {

/// The sound's spectrogram in at most 600 columns, of each band the loudest within the column. Empty for
/// sound that is shorter than 43 ms. Throws `std::bad_alloc` without memory.
ReportSpectrogram MakeSpectrogram(Listening::SampleView sound);

} // namespace AudioHost
