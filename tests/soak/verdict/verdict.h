#pragma once

#include <string>
#include <vector>

#include "run/runrecord.h"
#include "verdict/findings.h"

namespace Soak {

/// What a run must not show, each in a sentence; empty when all went well. Glitches that all sessions share
/// are the output's and none of these, and neither is what the resampler does at a change of frequency.
std::vector<std::string> ListFailures(Options const& options, RunRecord const& record,
                                      Findings const& findings);

/// True when the output was disturbed for too long, so that a run without a failure was not shown to be well:
/// this machine cannot tell. Of more sessions than the playback thread can wait for, nobody asks that.
bool IsUntold(Options const& options, Findings const& findings);

/// The run in plain words.
std::string FormatWords(Options const& options, RunRecord const& record, Findings const& findings,
                        std::vector<std::string> const& failures);

/// All figures, as JSON.
std::string FormatJson(Options const& options, RunRecord const& record, Findings const& findings,
                       std::vector<std::string> const& failures);

/// Growth of a quantity from the first moment on, by a line through all of them.
double GrowthPerHour(std::vector<Moment> const& moments, double (*quantity)(ProcessFigures const&));
double HandlesOf(ProcessFigures const& figures);
double ThreadsOf(ProcessFigures const& figures);
double WorkingSetOf(ProcessFigures const& figures);
double PrivateBytesOf(ProcessFigures const& figures);

/// Share of a core that the playback thread took between two moments.
double PlaybackThreadShare(Moment const& from, Moment const& to);

} // namespace Soak
