#include "live/livestream.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "files/codedframes.h"
#include "kovra/log.h"
#include "kovra/thread.h"

namespace AudioHost {

namespace {

constexpr std::int64_t OpenPollNanoSec = 20 * Kovra::NanoSecPerMilliSec;
constexpr std::chrono::seconds EndLimit(1);

void Note(std::string const& text) {
    static std::shared_ptr<Kovra::LoggerFacade> const logger =
        Kovra::LogManager::Instance().GetLogger(StreamChannel, nullptr, std::string());
    logger->get().Push(Kovra::LogExec(Kovra::LogLevel_t::Info, text.c_str()));
}

} // namespace

void LiveStream::Shared::Tell(StreamNews one) {
    std::lock_guard<std::mutex> const guard(lock);
    news.push_back(std::move(one));
    if (news.size() > MaxNews) {
        auto const oldest = std::find_if(news.begin(), news.end(), [](StreamNews const& some) {
            return some.kind == StreamNews::Kind_t::Packet;
        });
        if (oldest != news.end()) {
            news.erase(oldest);
        }
    }
}

bool LiveStream::Shared::Wait(std::int64_t nanoSec) {
    std::unique_lock<std::mutex> guard(lock);
    changed.wait_for(guard, std::chrono::nanoseconds(nanoSec), [this] { return stop->load(); });
    return !*stop;
}

LiveStream::LiveStream(std::string name, Connect connect, Settings settings)
    : name_(std::move(name)), settings_(settings) {
    reader_ = std::thread([shared = shared_, connect = std::move(connect)] {
        Kovra::SetThreadName("AudioHost.Stream");
        Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
        try {
            FollowStream([&] { return connect(shared->stop); },
                         [&](std::int64_t nanoSec) { return shared->Wait(nanoSec); },
                         [&](StreamNews news) { shared->Tell(std::move(news)); });
        } catch (...) {
            // Most likely there is no memory, not for a last word either: the end without one tells.
        }
        std::lock_guard<std::mutex> const guard(shared->lock);
        shared->hasEnded = true;
        shared->changed.notify_all();
    });
}

LiveStream::~LiveStream() {
    Stop();
    std::unique_lock<std::mutex> guard(shared_->lock);
    bool const hasEnded = shared_->changed.wait_until(guard, *endBy_, [this] { return shared_->hasEnded; });
    guard.unlock();
    if (hasEnded) {
        reader_.join();
    } else {
        reader_.detach();
    }
}

void LiveStream::Stop() {
    endBy_ = endBy_.value_or(std::chrono::steady_clock::now() + EndLimit);
    std::lock_guard<std::mutex> const guard(shared_->lock);
    *shared_->stop = true;
    shared_->changed.notify_all();
}

bool LiveStream::WaitUntilOpen(Pacer& pacer) {
    for (;;) {
        {
            std::lock_guard<std::mutex> const guard(shared_->lock);
            if (!shared_->news.empty() || shared_->hasEnded) {
                break;
            }
        }
        if (!pacer.WaitUntil(Kovra::JiffyTime(Kovra::JiffyTime::Now().NanoSec() + OpenPollNanoSec))) {
            return false;
        }
    }
    Pump(Kovra::JiffyTime::Now(), {});
    if (error_) {
        throw HostError(*error_);
    }
    return true;
}

void LiveStream::Pump(Kovra::JiffyTime now, std::function<void(LiveFrame&)> const& hand) {
    bool hasEnded = false;
    for (StreamNews& news : TakeNews(hasEnded)) {
        Hear(news);
    }
    if (hasEnded && !isOver_) {
        GiveUp(HostError(ExitCode_t::Internal, "internal error: the reading of '" + name_ + "' has ended."));
    }
    PlacedPacket next;
    while (hand && order_.Take(now, next)) {
        LiveFrame frame;
        if (maker_->Make(next, frame)) {
            order_.SetEnd(frame.endNanoSec);
            frame.spareNanoSec = next.due.GetDiffSysTime(next.packet.arrival).NanoSec();
            state_.handedNanoSec += frame.media.durationNanoSec;
            hand(frame);
        }
    }
}

StreamState LiveStream::GetState() const {
    StreamState state = state_;
    if (clock_) {
        state.clock = clock_->GetFigures();
    }
    state.missingNanoSec = order_.GetMissingNanoSec();
    state.leftOut += order_.CountLeftOut();
    return state;
}

std::deque<StreamNews> LiveStream::TakeNews(bool& hasEnded) {
    std::lock_guard<std::mutex> const guard(shared_->lock);
    hasEnded = shared_->hasEnded;
    return std::exchange(shared_->news, {});
}

void LiveStream::Hear(StreamNews& news) {
    switch (news.kind) {
        case StreamNews::Kind_t::Opened:
            Begin(news.format);
            break;
        case StreamNews::Kind_t::Packet:
            Place(news.packet);
            break;
        case StreamNews::Kind_t::Broke:
            // Each attempt to open it again that fails tells so, too.
            if (!state_.isBroken) {
                ++state_.breaks;
                state_.isBroken = true;
                Note("the stream broke: " + news.text);
            }
            break;
        case StreamNews::Kind_t::Over:
            if (news.error) {
                GiveUp(*news.error);
            }
            isOver_ = true;
            break;
    }
}

void LiveStream::GiveUp(HostError const& error) {
    state_.error = error.what();
    error_ = error;
    isOver_ = true;
}

void LiveStream::Begin(StreamFormat const& format) {
    if (std::exchange(state_.isBroken, false)) {
        Note("the stream is open again");
    }
    order_.Forget();
    try {
        maker_ = CreateLiveFrameMaker(format, name_);
    } catch (std::runtime_error const&) {
        GiveUp(
            HostError(ExitCode_t::NotAudio, "'" + name_ + "' is in a coding that cannot be decoded here."));
        return;
    }
    description_ = DescribeCoding(*format.parameters, maker_->IsCoded());
    if (clock_ && ticksPerSec_ == format.ticksPerSec) {
        clock_->Restart();
        return;
    }
    ticksPerSec_ = format.ticksPerSec;
    Media::StreamClockSettings_t settings;
    settings.ticksPerSec = format.ticksPerSec;
    settings.wrapBits = format.wrapBits;
    settings.leadNanoSec = settings_.leadNanoSec;
    settings.isLeadAdapted = settings_.isLeadAdapted;
    clock_ = std::make_unique<Media::StreamClock>(settings);
}

void LiveStream::Place(LivePacket& packet) {
    if (isOver_) {
        return;
    }
    Media::StreamPlacement_t const placement = clock_->Place(packet.ticks, packet.arrival);
    if (placement.event.kind != Media::StreamEvent_t::Kind_t::None) {
        Note(placement.event.Describe());
    }
    if (placement.verdict == Media::StreamPlacement_t::Verdict_t::Play) {
        order_.Add({std::move(packet), placement.timestamp.NanoSec(), placement.due});
        return;
    }
    state_.leftOut += state_.handedNanoSec > 0 ? 1 : 0;
}

} // namespace AudioHost
