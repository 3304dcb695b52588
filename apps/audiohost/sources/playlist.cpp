#include "sources/playlist.h"

#include <stdexcept>
#include <utility>

#include "files/packetsource.h"
#include "files/pcmdecoder.h"
#include "terminal/hosterror.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr std::size_t MaxNamed = 3;

std::string NameOf(std::vector<MediaInput> const& inputs) {
    std::string name;
    for (std::size_t i = 0; i < inputs.size() && i < MaxNamed; ++i) {
        name += (i == 0 ? "" : ", then ") + FileNameOf(inputs[i].path);
    }
    return inputs.size() > MaxNamed ? name + ", then " + std::to_string(inputs.size() - MaxNamed) + " more"
                                    : name;
}

std::string Describe(std::size_t count, bool isLoop) {
    return FormatCount(count, "file") + (count > 1 ? " one after the other" : "") +
           (isLoop ? " over and over" : "") + ", handed over as 48 kHz mono PCM";
}

std::int64_t SumDurations(std::vector<MediaInput> const& inputs, bool isLoop) {
    std::int64_t sum = 0;
    for (MediaInput const& input : inputs) {
        std::int64_t const one = isLoop ? 0 : PacketSource(input).GetDurationNanoSec();
        if (one == 0) {
            return 0;
        }
        sum += one;
    }
    return sum;
}

/// A file whose turn it is.
class Turn {
public:
    explicit Turn(MediaInput const& input) : packets_(input), sound_(Decode(input)) {}

    bool Read(Listening::Samples& sound) { return sound_.Read(sound); }

private:
    PacketSound Decode(MediaInput const& input) {
        try {
            return PacketSound(packets_);
        } catch (std::runtime_error const&) {
            throw HostError(ExitCode_t::NotAudio,
                            "'" + input.path + "' is in a coding that cannot be decoded here.");
        }
    }

    PacketSource packets_;
    PacketSound sound_;
};

} // namespace

class Playlist::Turns : public PcmStream {
public:
    Turns(std::vector<MediaInput> inputs, bool isLoop) : inputs_(std::move(inputs)), isLoop_(isLoop) {}

    bool Read(Listening::Samples& sound) override {
        if (!turn_) {
            turn_ = std::make_unique<Turn>(inputs_[next_]);
        }
        std::size_t const before = sound.size();
        bool const goesOn = turn_->Read(sound);
        hasSound_ = hasSound_ || sound.size() > before;
        return goesOn || Advance();
    }

private:
    /// False after the last turn, and after a round without a sample, which would never end.
    bool Advance() {
        turn_.reset();
        next_ = (next_ + 1) % inputs_.size();
        return next_ > 0 || (isLoop_ && std::exchange(hasSound_, false));
    }

    std::vector<MediaInput> const inputs_;
    bool const isLoop_;
    std::size_t next_ = 0;
    /// In this round.
    bool hasSound_ = false;
    std::unique_ptr<Turn> turn_;
};

Playlist::Playlist(std::vector<MediaInput> inputs, bool isLoop, Kovra::SysTime base)
    : name_(NameOf(inputs)),
      description_(Describe(inputs.size(), isLoop)),
      durationNanoSec_(SumDurations(inputs, isLoop)),
      turns_(std::make_unique<Turns>(std::move(inputs), isLoop)),
      frames_(base, name_) {}

Playlist::~Playlist() = default;

bool Playlist::ReadFrame(MediaFrame& next) {
    return frames_.Next(*turns_, next);
}

} // namespace AudioHost
