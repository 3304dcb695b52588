#include "play/playfigures.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "files/outputfile.h"
#include "play/statisticsjson.h"
#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

/// What a program that dies leaves of its trace depends on it.
constexpr int TraceIntervalMilliSec = 1000;

} // namespace

PlayFigures::PlayFigures(PlayOptions const& options, Surroundings const& surroundings)
    : surroundings_(surroundings),
      tracePath_(options.tracePath),
      statisticsPath_(options.statisticsPath),
      isLive_(options.isLive),
      screen_(surroundings.json ? nullptr : surroundings.screen),
      viewIntervalMilliSec_(LiveView::IntervalMilliSec(screen_ != nullptr)) {
    RequireWritable(statisticsPath_);
    if (!tracePath_.empty()) {
        trace_ = std::make_unique<Trace>(tracePath_);
    }
}

void PlayFigures::Attach(Media::Pipeline& pipeline) {
    std::lock_guard<std::mutex> const guard(lock_);
    pipeline_ = &pipeline;
}

void PlayFigures::Detach() {
    std::lock_guard<std::mutex> const guard(lock_);
    pipeline_ = nullptr;
}

void PlayFigures::AddSession(Media::Pipeline::SessionId_t session, std::string const& name) {
    names_[session] = name;
    if (trace_) {
        trace_->AddSession(session, name);
    }
}

void PlayFigures::AddReport(Media::Pipeline::Report_t const& report) {
    if (trace_) {
        trace_->AddReport(report);
    }
}

void PlayFigures::AddLog(Kovra::LogRecord const& record) {
    if (trace_) {
        trace_->AddLog(record);
    }
    std::lock_guard<std::mutex> const guard(lock_);
    if (pipeline_) {
        pipeline_->AddLog(record);
    }
}

std::optional<int> PlayFigures::GetIntervalMilliSec() const {
    return isLive_ ? std::optional(std::min(viewIntervalMilliSec_, TraceIntervalMilliSec)) : std::nullopt;
}

void PlayFigures::Show(std::vector<StreamRow> const& streams) {
    WriteTrace();
    if (!isLive_) {
        return;
    }
    sinceShownMilliSec_ += *GetIntervalMilliSec();
    if (sinceShownMilliSec_ >= viewIntervalMilliSec_) {
        sinceShownMilliSec_ = 0;
        ShowView(streams);
    }
}

void PlayFigures::WriteTrace() {
    if (trace_) {
        trace_->Write();
    }
}

void PlayFigures::ShowView(std::vector<StreamRow> const& streams) {
    if (!view_) {
        view_.emplace(surroundings_.out, screen_, names_);
    }
    view_->Show(pipeline_->GetStatistics(), streams);
}

void PlayFigures::TakeStatistics(std::vector<StreamRow> const& streams) {
    // What is still in the log's queue counts.
    Kovra::LogManager::Instance().Flush();
    WriteTrace();
    if (isLive_) {
        ShowView(streams);
    }
    statistics_ = pipeline_->GetStatistics();
}

void PlayFigures::Write() {
    if (!statisticsPath_.empty()) {
        std::ofstream file(std::filesystem::u8path(statisticsPath_), std::ios::binary);
        file << FormatStatistics(statistics_, names_);
        file.close();
        if (!file) {
            throw HostError(ExitCode_t::Internal,
                            "the statistics '" + statisticsPath_ + "' could not be written.");
        }
        surroundings_.out << "Statistics: " << statisticsPath_ << std::endl;
    }
    if (trace_) {
        trace_->Close();
        surroundings_.out << "Trace: " << tracePath_ << std::endl;
    }
}

} // namespace AudioHost
