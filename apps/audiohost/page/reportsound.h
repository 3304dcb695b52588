#pragma once

#include <string>
#include <vector>

#include "files/outputfile.h"
#include "listening/samples.h"
#include "page/reportmodel.h"

namespace AudioHost {

/// Sounds up to this length are in the page: 10 MB of it at most.
constexpr std::int64_t MaxEmbeddedSeconds = 120;

/// What to see of a sound: its wave and its spectrogram. Empty sound gives empty ones.
ReportSound ShowSound(std::string const& id, std::string const& title, Listening::SampleView sound,
                      std::int64_t startMilliSec);

/// And what to listen to: in the page, or as a file of this name beside it.
ReportSound PlaySound(std::string const& id, std::string const& title, Listening::SampleView sound,
                      std::int64_t startMilliSec, std::string const& fileName, std::vector<SideFile>& files);

} // namespace AudioHost
