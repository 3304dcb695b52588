#include "live/livestream.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include "files/codedframes.h"
#include "kovra/thread.h"

namespace AudioHost {

namespace {

constexpr std::int64_t OpenPollNanoSec = 20 * Kovra::NanoSecPerMilliSec;
constexpr std::chrono::seconds EndLimit(1);

} // namespace

void LiveStream::Shared::Tell(StreamNews one) {
    std::lock_guard<std::mutex> const guard(lock);
    news.push_back(std::move(one));
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
        } catch (std::exception const& error) {
            StreamNews news;
            news.error = HostError(ExitCode_t::Internal, std::string("internal error: ") + error.what());
            shared->Tell(std::move(news));
        }
        std::lock_guard<std::mutex> const guard(shared->lock);
        shared->hasEnded = true;
        shared->changed.notify_all();
    });
}

LiveStream::~LiveStream() {
    Stop();
    std::unique_lock<std::mutex> guard(shared_->lock);
    bool const hasEnded = shared_->changed.wait_for(guard, EndLimit, [this] { return shared_->hasEnded; });
    guard.unlock();
    if (hasEnded) {
        reader_.join();
    } else {
        reader_.detach();
    }
}

void LiveStream::Stop() {
    std::lock_guard<std::mutex> const guard(shared_->lock);
    *shared_->stop = true;
    shared_->changed.notify_all();
}

bool LiveStream::WaitUntilOpen(Pacer& pacer) {
    for (;;) {
        {
            std::lock_guard<std::mutex> const guard(shared_->lock);
            if (!shared_->news.empty()) {
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
    for (StreamNews& news : TakeNews()) {
        Hear(news);
    }
    PlacedPacket next;
    while (hand && order_.Take(now, next)) {
        LiveFrame frame;
        if (maker_->Make(next, frame)) {
            order_.SetEnd(frame.endNanoSec);
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

std::vector<StreamNews> LiveStream::TakeNews() {
    std::lock_guard<std::mutex> const guard(shared_->lock);
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
            state_.breaks += state_.isBroken ? 0 : 1;
            state_.isBroken = true;
            break;
        case StreamNews::Kind_t::Over:
            if (news.error) {
                state_.error = news.error->what();
                error_ = news.error;
            }
            isOver_ = true;
            break;
    }
}

void LiveStream::Begin(StreamFormat const& format) {
    state_.isBroken = false;
    order_.Forget();
    try {
        maker_ = CreateLiveFrameMaker(format, name_);
    } catch (std::runtime_error const&) {
        error_ =
            HostError(ExitCode_t::NotAudio, "'" + name_ + "' is in a coding that cannot be decoded here.");
        state_.error = error_->what();
        isOver_ = true;
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
    if (placement.verdict == Media::StreamPlacement_t::Verdict_t::Play) {
        order_.Add({std::move(packet), placement.timestamp.NanoSec(), placement.due});
        return;
    }
    state_.leftOut += state_.handedNanoSec > 0 ? 1 : 0;
}

} // namespace AudioHost
