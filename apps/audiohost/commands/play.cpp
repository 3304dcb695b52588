#include "commands/play.h"

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "commands/findings.h"
#include "commands/playsources.h"
#include "commands/summaryjson.h"
#include "commands/talk.h"
#include "files/heardfile.h"
#include "files/outputfile.h"
#include "kovra/log.h"
#include "kovra/thread.h"
#include "output/outputwatch.h"
#include "pipeline/pipeline.h"
#include "play/feeder.h"
#include "play/livefeeder.h"
#include "play/playbackprogress.h"
#include "play/playfigures.h"
#include "report/playbackreport.h"
#include "report/playbacksummary.h"
#include "talk/talker.h"
#include "terminal/atend.h"
#include "terminal/progressline.h"

namespace AudioHost {

namespace {

constexpr std::size_t Workers = 2;
/// What the renderer's thread can wait for, besides the wake event.
constexpr std::size_t ServedSessions = 63;

/// How much earlier than by the growth of the recording a sound may appear in it, and how much later than it
/// was due: recorders write in pieces, and an audio server holds up to two seconds.
constexpr std::int64_t EarlierMilliSec = 500;
constexpr std::int64_t LaterMilliSec = 2500;

void OpenRenderer(Media::IPipelineRenderer& renderer) {
    int const status = renderer.Initialize();
    if (status < 0) {
        throw HostError(ExitCode_t::NoOutput, "the audio output cannot be opened (status " +
                                                  std::to_string(status) + "); is there an output device?");
    }
}

/// What plays, without a session yet or with one.
struct Player {
    /// One of the two.
    std::unique_ptr<SoundSource> source;
    std::unique_ptr<LiveStream> stream;
    Media::Pipeline::SessionId_t session = Media::Pipeline::InvalidSession;
    std::size_t number = 0;
};

/// `players` has those that were opened before one failed, too.
void OpenPlayers(PlayOptions const& options, std::istream* in, Pacer& stop, std::vector<Player>& players) {
    for (std::unique_ptr<SoundSource>& source : OpenSources(options, in)) {
        players.push_back({std::move(source), nullptr});
    }
    for (std::unique_ptr<LiveStream>& stream : OpenStreams(options)) {
        players.push_back({nullptr, std::move(stream)});
    }
    for (Player const& player : players) {
        if (player.stream && !player.stream->WaitUntilOpen(stop)) {
            break;
        }
    }
}

/// Those that nothing feeds any more, all at once: each may take its time to end.
void StopStreams(std::vector<Player> const& players) {
    for (Player const& player : players) {
        if (player.stream) {
            player.stream->Stop();
        }
    }
}

void WarnOfTooMany(std::size_t sessions, std::ostream& out) {
    if (sessions > ServedSessions) {
        out << sessions << " sessions at once: the renderer serves up to " << ServedSessions
            << ". With more it serves none: what ends is not stopped, and its rest is heard again every five "
               "seconds. --then plays one after the other."
            << std::endl;
    }
}

void OpenSessions(Media::Pipeline& pipeline, PlaybackLogKeeper& keeper, PlayFigures& figures,
                  PlayOptions const& options, std::vector<Player>& players) {
    for (Player& player : players) {
        player.session = pipeline.OpenSession({});
        if (player.session == Media::Pipeline::InvalidSession) {
            throw HostError(ExitCode_t::NoOutput, "there is no audio output device.");
        }
        SessionLog log;
        if (player.source) {
            log.name = player.source->GetName();
            log.description = player.source->GetDescription();
            log.durationNanoSec = player.source->GetDurationNanoSec();
        } else {
            log.name = player.stream->GetName();
            log.description = player.stream->GetDescription();
        }
        figures.AddSession(player.session, log.name);
        player.number = keeper.AddSession(player.session, std::move(log));
        if (options.volume || options.balance) {
            Media::PipelineClientState_t state;
            state.volume = options.volume.value_or(state.volume);
            state.balance = options.balance.value_or(state.balance);
            pipeline.SetClientState(player.session, state);
        }
    }
}

/// Feeds on threads of their own, since writing to a slow terminal may take its time.
bool FeedWithProgress(Feeder& feeder, LiveFeeder& liveFeeder, PlaybackLogKeeper const& keeper,
                      PlayFigures& figures, PlayOptions const& options, Surroundings const& surroundings,
                      Kovra::JiffyTime start) {
    auto const limit =
        static_cast<std::int64_t>(options.seconds * static_cast<double>(Listening::NanoSecPerSec));
    std::future<bool> fed = std::async(std::launch::async, [&] {
        Kovra::SetThreadName("AudioHost.Feeder");
        Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
        return feeder.Run(start, options.leadMilliSec, limit);
    });
    std::future<bool> fedLive = std::async(std::launch::async, [&] {
        Kovra::SetThreadName("AudioHost.LiveFeeder");
        Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
        return liveFeeder.Run(start, limit);
    });
    ProgressLine line(surroundings);
    std::optional<int> const liveMilliSec = figures.GetIntervalMilliSec();
    std::chrono::milliseconds const interval(liveMilliSec.value_or(line.GetIntervalMilliSec()));
    auto const hasEnded = [](std::future<bool> const& one) {
        return one.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    while ((hasEnded(fed) ? fedLive : fed).wait_for(interval) != std::future_status::ready ||
           !hasEnded(fedLive)) {
        figures.Show(FormatStreams(keeper.GetProgress()));
        if (!liveMilliSec) {
            line.Show(FormatProgress(keeper.GetProgress()));
        }
    }
    line.End();
    bool const isComplete = fed.get();
    return fedLive.get() && isComplete;
}

/// What is said while others play.
struct Talking {
    /// Null: nothing.
    std::unique_ptr<RtpSender> sender;
    CaptureAccess* capture = nullptr;
    Take take;
};

PlaybackLog PlayAll(PlayOptions const& options, Surroundings const& surroundings, OutputAccess* output,
                    PlayFigures& figures, std::vector<Player>& players, Talking& talking) {
    OpenRenderer(surroundings.renderer);
    AtEnd const close([&] { surroundings.renderer.Shutdown(); });
    Media::Pipeline::SetAudioRenderer(&surroundings.renderer);
    AtEnd const forget([] { Media::Pipeline::SetAudioRenderer(nullptr); });

    PlaybackLogKeeper keeper(!options.reportPath.empty() || !options.heardPath.empty());
    Kovra::LogManager::Instance().SetObserver([&](Kovra::LogRecord const& record) {
        if (record.channel.rfind(Media::RendererChannels, 0) == 0 || record.channel == StreamChannel) {
            keeper.AddLog(record);
            figures.AddLog(record);
        }
    });
    AtEnd const silence([] { Kovra::LogManager::Instance().SetObserver({}); });

    // Before the first session: a device that has just been started may take its first buffers at once.
    OutputWatch watch(output ? output->Open() : nullptr);
    watch.WaitUntilSteady(surroundings.stop);

    bool isComplete = false;
    std::int64_t heardBefore = 0;
    Kovra::JiffyTime start;
    {
        Media::Pipeline pipeline(surroundings.renderer, Workers,
                                 [&](Media::Pipeline::Report_t const& report) {
                                     keeper.AddReport(report);
                                     figures.AddReport(report);
                                 });
        figures.Attach(pipeline);
        AtEnd const detach([&] { figures.Detach(); });
        OpenSessions(pipeline, keeper, figures, options, players);
        Feeder feeder(pipeline, keeper, surroundings.stop);
        LiveFeeder liveFeeder(pipeline, keeper, surroundings.stop);
        for (Player& player : players) {
            if (player.source) {
                feeder.Add(player.session, player.number, std::move(player.source));
            } else {
                liveFeeder.Add(player.session, player.number, std::move(player.stream));
            }
        }
        std::optional<Talker> talker;
        if (talking.sender) {
            talker.emplace(*talking.sender, *talking.capture);
        }
        heardBefore = CountRawSamples(options.heardPath);
        start = Kovra::JiffyTime::Now();
        keeper.SetStart(start);
        isComplete = FeedWithProgress(feeder, liveFeeder, keeper, figures, options, surroundings, start);
        if (talker) {
            talking.take = talker->End();
        }
        figures.TakeStatistics(FormatStreams(keeper.GetProgress()));
        for (Player const& player : players) {
            pipeline.CloseSession(player.session);
        }
    }
    Kovra::LogManager::Instance().Flush();
    PlaybackLog log = keeper.Take();
    log.output = watch.Stop(start.NanoSec());
    log.leadMilliSec = options.leadMilliSec;
    log.heardBefore = heardBefore;
    log.isInterrupted = !isComplete;
    log.askedGain = AskedGain(options);
    return log;
}

void CompareWithHeard(std::string const& path, PlaybackLog& log) {
    WaitUntilStill(path,
                   [](int milliSec) { std::this_thread::sleep_for(std::chrono::milliseconds(milliSec)); });
    log.heard = ReadRawSound(path);
    std::vector<Listening::SampleView> sounds;
    for (SessionLog const& session : log.sessions) {
        Listening::SampleView sound(session.sound);
        // What an interruption cut off was never due.
        auto const size = static_cast<std::int64_t>(sound.GetSize());
        std::int64_t const cut = log.isInterrupted ? Listening::MilliSecToSamples(log.leadMilliSec) : 0;
        sounds.push_back(sound.Cut(0, size - cut));
    }
    Listening::LagRange const range = {
        log.heardBefore - Listening::MilliSecToSamples(EarlierMilliSec),
        log.heardBefore + Listening::MilliSecToSamples(log.leadMilliSec + LaterMilliSec)};
    if (sounds.size() == 1) {
        log.comparison = Listening::CompareSounds(sounds.front(), log.heard, range);
        return;
    }
    Listening::MixComparison mix = Listening::CompareMix(sounds, log.heard, range);
    log.comparison = Listening::CompareSounds(mix.mix, log.heard, range);
    // How loud the parts and peaks of a mix are depends on how loud each sound in it is, which is told by
    // itself.
    log.comparison->isCutOff = false;
    log.comparison->uneven.clear();
    log.mix = std::move(mix.sounds);
}

void RequirePlayed(PlaybackLog const& log) {
    for (SessionLog const& session : log.sessions) {
        if (!session.streamPoints.empty() && !session.streamPoints.back().state.error.empty()) {
            throw HostError(ExitCode_t::NoStream,
                            "'" + session.name + "': " + session.streamPoints.back().state.error);
        }
        if (session.jobsSucceeded == 0 && session.jobsFailed > 0) {
            throw HostError(ExitCode_t::NoOutput, "the audio output took none of the " +
                                                      std::to_string(session.jobsFailed) + " frames of '" +
                                                      session.name + "'.");
        }
    }
}

} // namespace

ExitCode_t Play(PlayOptions const& options, Surroundings const& surroundings, OutputAccess* output,
                CaptureAccess* capture) {
    Talking talking{
        options.talk.address.empty() ? nullptr : OpenTalk(options.talk, surroundings.stop, surroundings.out),
        capture,
        {}};
    std::vector<Player> players;
    AtEnd const stop([&players] { StopStreams(players); });
    OpenPlayers(options, surroundings.in, surroundings.stop, players);
    RequireWritable(options.reportPath);
    LogTo(options.logPath);
    WarnOfTooMany(players.size(), surroundings.out);
    PlayFigures figures(options, surroundings);
    PlaybackLog log = PlayAll(options, surroundings, output, figures, players, talking);
    // What is asked to be silent cannot be found again.
    bool const isAudible = options.volume.value_or(1.0F) > 0.0F;
    if (!options.heardPath.empty() && isAudible) {
        CompareWithHeard(options.heardPath, log);
    }
    surroundings.out << FormatSummary(log) << std::flush;
    if (!options.reportPath.empty()) {
        log.facts = surroundings.describe();
        WriteReport(options.reportPath, FormatReport(log), surroundings.out);
    }
    figures.Write();
    if (talking.sender) {
        TellTalk(options.talk, *talking.sender, talking.take, surroundings.out);
    }
    RequirePlayed(log);
    Findings const findings = FindWhatFailed(log);
    ExitCode_t const code = CodeOf(log, findings, options.failOn);
    if (surroundings.json) {
        *surroundings.json << FormatSummaryJson(log, findings, options, code) << std::flush;
    }
    return code;
}

} // namespace AudioHost
