#include <CLI/CLI.hpp>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "page/facts.h"
#include "page/reportpage.h"
#include "play/trace.h"
#include "run/performance.h"
#include "support/recording/recording.h"
#include "verdict/findings.h"
#include "verdict/report.h"
#include "verdict/verdict.h"

namespace {

/// Two minutes of 16 sessions, half a minute of 63: a job is one, 50 a second and session, and so is a
/// record. They take 22 MB.
constexpr std::size_t MaxTraceEvents = 100'000;

enum class ExitCode_t : int { Well = 0, Failed = 1, Broken = 2, Untold = 3 };

void AddOptions(CLI::App& app, Soak::Options& options) {
    app.add_option("--sessions", options.sessions, "Sessions that play at the same time (default 16)")
        ->check(CLI::Range(std::size_t{1}, Soak::SoundPlan::MaxSessions));
    app.add_option("--seconds", options.seconds, "How long they play (default 1800)")
        ->check(CLI::Range(5.0, 1e6));
    app.add_option("--lead", options.leadMilliSec,
                   "Time in ms from handing a frame over until it shall be heard (default 200)")
        ->check(CLI::Range(40, 300));
    app.add_flag("!--no-capture", options.hasCapture, "Leave the microphone alone");
    app.add_option("--tolerate", options.toleratedGlitches,
                   "So many glitches of single sessions are put down to a busy machine (default 0)");
    app.add_option(
           "--takes", options.takes,
           "Play so often at the most, while the output is disturbed for too long to tell (default 1)")
        ->check(CLI::Range(1, 100));
    app.add_option("--result", options.resultPath, "Write all figures to this JSON file");
    app.add_option("--summary", options.summaryPath, "Write the summary to this file too");
    app.add_option("--report", options.reportPath, "Write a page with charts to this file");
    app.add_option("--trace", options.tracePath,
                   "Should it fail, leave a trace of the last minutes in this file");
}

/// Nothing when there is no path.
void Write(std::string const& path, std::string const& text) {
    if (path.empty()) {
        return;
    }
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error("this file cannot be written: " + path);
    }
}

void Discard(std::optional<AudioHost::Trace>& trace) {
    if (trace) {
        trace->Discard();
    }
}

ExitCode_t Run(Soak::Options const& options, std::vector<std::string> const& arguments) {
    Soak::SoundPlan const plan(options.sessions);
    Soak::RunRecord record;
    Soak::Findings findings;
    std::vector<std::string> failures;
    TestSupport::HeardSound heard;
    std::optional<AudioHost::Trace> trace;
    for (int take = 1; take <= options.takes; ++take) {
        if (!options.tracePath.empty()) {
            trace.emplace(options.tracePath, "soak", MaxTraceEvents);
        }
        record = Soak::Perform(options, plan, std::cout, trace ? &*trace : nullptr);
        std::cout << "comparing what was heard with what was played" << std::endl;
        heard = TestSupport::Recording::FromEnvironment().ReadFrom(0);
        findings = Soak::Analyse(plan, record, heard.left);
        failures = Soak::ListFailures(options, record, findings);
        // What has failed does not become well by another take.
        if (!failures.empty() || !Soak::IsUntold(options, findings)) {
            break;
        }
        Discard(trace);
        std::cout << "take " << take << " of " << options.takes
                  << ": the output was disturbed for too long to tell" << std::endl;
    }
    if (failures.empty()) {
        Discard(trace);
    } else if (trace) {
        trace->Close();
    }
    Write(options.resultPath, Soak::FormatJson(options, record, findings, failures));
    if (!options.reportPath.empty()) {
        record.facts = AudioHost::DescribeAll("soak", arguments);
        Write(options.reportPath, AudioHost::FormatReportPage(
                                      Soak::DescribeRun(options, record, findings, failures, heard.left)));
    }
    std::string const words = Soak::FormatWords(options, record, findings, failures);
    Write(options.summaryPath, words);
    std::cout << words << std::flush;
    ExitCode_t const well = Soak::IsUntold(options, findings) ? ExitCode_t::Untold : ExitCode_t::Well;
    return failures.empty() ? well : ExitCode_t::Failed;
}

} // namespace

int main(int count, char** arguments) {
    Soak::Options options;
    CLI::App app(
        "Plays many sessions through the module for a long time and tells what went wrong.\n"
        "Exit codes: 0 nothing, 1 something, 2 it could not be run, 3 this machine cannot tell.",
        "soak");
    try {
        AddOptions(app, options);
        app.parse(count, arguments);
        return static_cast<int>(Run(options, {arguments + 1, arguments + count}));
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode_t::Broken);
    } catch (std::exception const& error) {
        std::cerr << "soak: " << error.what() << std::endl;
        return static_cast<int>(ExitCode_t::Broken);
    }
}
