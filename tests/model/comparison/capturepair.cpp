#include "model/comparison/capturepair.h"

#include <algorithm>
#include <cstring>

#include "model/comparison/limits.h"
#include "support/module/fakecodec.h"

namespace ModelTest {

CapturePair::CapturePair(Simulation::World& world, Rules const& rules, Trace& trace, Difference& difference)
    : world_(world), difference_(difference), model_(rules, trace) {
    world_.CaptureDevice().SetRingCheck(false);
    world_.CaptureDevice().SetGenerator(MicrophoneSample);
    difference_.Check("the capture device's status", device_.Initialize(), 0);
}

std::shared_ptr<Media::RendererAudioCaptureBuffer> CapturePair::Buffer() const {
    return proxy_ == nullptr ? nullptr : Media::RendererAudioCaptureProxyPeer::GetBuffer(*proxy_);
}

void CapturePair::Observe() {
    view_ = CaptureView();
    if (model_.record.hasDirectSound) {
        auto& buffer = world_.LatestCaptureBuffer();
        view_.cursorByte = buffer.ReadByte();
        view_.captured = buffer.CapturedSamples();
    }
}

// --- start and stop

void CapturePair::Do(CaptureStart const&) {
    model_.Start(world_.Clock().SystemNanoSec());
    if (proxy_ == nullptr) {
        proxy_ = std::make_unique<Media::RendererAudioCaptureProxy>(device_);
    } else {
        proxy_->StartBufferCapture();
    }
}

void CapturePair::Do(CaptureStop const&) {
    if (proxy_ != nullptr) {
        model_.Stop();
        proxy_->StopBufferCapture();
    }
}

void CapturePair::Do(CaptureHalt const&) {
    if (auto const buffer = Buffer()) {
        model_.Halt();
        buffer->StopCapture();
    }
}

void CapturePair::Do(CaptureCreate const&) {
    if (auto const buffer = Buffer()) {
        int const expected = model_.Create(world_.Clock().SystemNanoSec());
        difference_.Check("the status of Create", buffer->Create(), expected);
    }
}

// --- reading and metering

void CapturePair::Do(CaptureRead const& step) {
    if (proxy_ == nullptr) {
        return;
    }
    constexpr std::int64_t MaxHeldFrames = 3;
    auto const held = static_cast<std::size_t>(std::clamp<std::int64_t>(step.heldFrames, 0, MaxHeldFrames));
    UnitTest::Frames frames(held);
    SetEmptyLock(step.emptyLock == 1   ? EmptyLock::NullAddress
                 : step.emptyLock == 2 ? EmptyLock::ZeroBytes
                                       : EmptyLock::None);
    int const expected = model_.Read(view_, held);
    difference_.Check("the status of ReadFrames", proxy_->ReadFrames(frames), expected);
    SetEmptyLock(EmptyLock::None);
    if (difference_.Check("the number of frames", frames.size(), held + model_.frames.size())) {
        for (std::size_t i = held; i < frames.size(); ++i) {
            CompareFrame(*frames[i], model_.frames[i - held]);
        }
    }
    model_.frames.clear();
}

void CapturePair::SetEmptyLock(EmptyLock kind) {
    using Simulation::LockFault_t;
    view_.emptyLock = kind;
    world_.CaptureDevice().SetLockFault(kind == EmptyLock::NullAddress ? LockFault_t::NullAddress
                                        : kind == EmptyLock::ZeroBytes ? LockFault_t::ZeroBytes
                                                                       : LockFault_t::None);
}

void CapturePair::CompareFrame(Media::FrameAud const& frame, CapturedFrame const& expected) {
    Difference& d = difference_;
    Media::FrameIdent const& ident = frame.GetIdent();
    d.Check("a frame's timestamp", ident.time.NanoSec(), expected.timeNanoSec);
    d.Check("a frame's number", ident.sequenceNumber, expected.number);
    d.Check("a frame's source", ident.sourceName == "Microphone", true);
    d.Check("a frame's coding", static_cast<std::uint32_t>(frame.GetCoding()), 0x300U);
    d.Check("a frame's rate", frame.GetFrequency(), 48000U);
    d.Check("a frame's channels", frame.GetNumChannels(), 1U);
    d.Check("a frame's bits", frame.GetParams().GetBitsPerSample(), 16U);
    Kovra::BufferInfo const* const info = frame.GetConstBufferBegin();
    if (d.Check("a frame's buffers", frame.GetBuffers().GetCount(), std::size_t{1}) &&
        d.Check("a frame's length", std::size_t{info->GetLength()}, CapturedFrame::SizeBytes)) {
        d.Check("a frame's samples",
                std::memcmp(info->GetData(), expected.samples.data(), CapturedFrame::SizeBytes), 0);
    }
}

void CapturePair::Do(CaptureMeter const&) {
    if (proxy_ != nullptr) {
        int const expected = model_.Meter(view_);
        difference_.Check("the status of SampleLineLevel", proxy_->SampleLineLevel(), expected);
    }
}

void CapturePair::Do(CaptureLevel const&) {
    if (proxy_ != nullptr) {
        float const expected = model_.Level();
        difference_.Check("the line level", proxy_->GetLineLevel(), expected);
    }
}

// --- the microphone and its device

void CapturePair::Do(CaptureAtOnce const& step) {
    constexpr std::uint64_t MaxSamples = 480'000;
    if (model_.record.hasDirectSound) {
        world_.LatestCaptureBuffer().CaptureAtOnce(
            std::min(static_cast<std::uint64_t>(step.samples), MaxSamples));
    }
}

void CapturePair::Do(CaptureSkew const& step) {
    world_.CaptureDevice().SetSkewPartsPerMillion(LimitSkew(step.partsPerMillion));
}

void CapturePair::Do(CaptureCursorStep const& step) {
    world_.CaptureDevice().SetCursorStep(std::max(LimitToRing(step.frames), 1U),
                                         LimitToRing(step.phaseFrames));
}

void CapturePair::Do(CaptureLockSplit const& step) {
    // Captured regions are whole samples long.
    std::uint32_t const bytes = LimitToRing(step.bytes) / 2 * 2;
    world_.CaptureDevice().SetLockSplit(bytes);
    model_.SetLockSplit(bytes);
}

void CapturePair::Do(CaptureStall const& step) {
    world_.CaptureDevice().Stall(LimitToSecond(step.nanoSec));
}

// --- comparison

void CapturePair::Compare() {
    CaptureRecord const& expected = model_.record;
    Difference& d = difference_;
    auto const buffer = Buffer();
    if (!d.Check("the proxy's buffer", buffer != nullptr, expected.hasBuffer) || buffer == nullptr) {
        return;
    }
    d.Check("IsInitialized", proxy_->IsInitialized(), expected.proxyStatus >= 0);
    auto const& actual = Media::RendererAudioCaptureBufferPeer::GetFields(*buffer);
    d.Check("dsBuffer", actual.dsBuffer != nullptr, expected.hasDirectSound);
    d.Check("nextTime", actual.nextTime.NanoSec(), expected.nextTime);
    d.Check("frameNumber", actual.frameNumber, expected.frameNumber);
    d.Check("the capture ring's length", actual.ringSamples, expected.ringSamples);
    d.Check("readPos", actual.readPos, expected.readPos);
}

void CapturePair::End() {
    model_.Stop();
    proxy_.reset();
}

} // namespace ModelTest
