#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "commands/findings.h"
#include "doctor/checkup.h"
#include "output/devicelist.h"
#include "play/playbacklog.h"
#include "record/capturelog.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"

namespace AudioHost {

/// Goes up when a member changes its meaning or goes; docs/summary.md tells all of them.
constexpr int SummaryVersion = 1;

/// The summary of one run as a JSON object with a line end, for scripts.
std::string FormatSummaryJson(PlaybackLog const& log, Findings const& findings, PlayOptions const& options,
                              ExitCode_t code);
std::string FormatSummaryJson(CaptureLog const& log, RecordOptions const& options, ExitCode_t code);

std::string FormatSummaryJson(DeviceList const& list, ExitCode_t code);
std::string FormatSummaryJson(CheckupLog const& log, ExitCode_t code);

/// Of a run that ended with an error instead.
std::string FormatErrorJson(std::string const& command, HostError const& error);

/// Runs `command` by `run`. The error that it ends with, one of the program's own too, becomes the object in
/// `json`, if any, and goes on to the caller.
ExitCode_t RunToObject(std::string const& command, std::ostream* json,
                       std::function<ExitCode_t()> const& run);

} // namespace AudioHost
