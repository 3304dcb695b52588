#include "commands/playsources.h"

#include <optional>
#include <utility>

#include "files/mediafile.h"
#include "files/packetsource.h"
#include "live/streamconnection.h"
#include "sources/playlist.h"
#include "sources/testsignal.h"
#include "terminal/streamaddress.h"

namespace AudioHost {

namespace {

/// Hours of compressed sound, or one and a half of CD quality.
constexpr std::size_t MaxInputBytes = std::size_t{1} << 30U;
constexpr double SignalSeconds = 5.0;

std::vector<MediaInput> ListInputs(std::vector<std::string> const& paths, std::istream* in) {
    std::optional<MediaInput> standardInput;
    std::vector<MediaInput> inputs;
    for (std::string const& path : paths) {
        if (path == StandardInput && in) {
            // Read once: what is played twice is the same.
            standardInput = standardInput ? standardInput : ReadToEnd(*in, MaxInputBytes);
            inputs.push_back(*standardInput);
        } else {
            inputs.push_back(path);
        }
    }
    return inputs;
}

using Sources = std::vector<std::unique_ptr<SoundSource>>;

void AddFiles(PlayOptions const& options, std::vector<MediaInput> inputs, Kovra::SysTime base,
              Sources& sources) {
    if (options.isSequence && !inputs.empty()) {
        sources.push_back(std::make_unique<Playlist>(std::move(inputs), options.isLoop, base));
        return;
    }
    for (MediaInput& input : inputs) {
        if (options.isLoop) {
            sources.push_back(
                std::make_unique<Playlist>(std::vector<MediaInput>{std::move(input)}, true, base));
        } else {
            sources.push_back(std::make_unique<MediaFile>(input, base));
        }
    }
}

void AddSignals(PlayOptions const& options, Kovra::SysTime base, Sources& sources) {
    double const seconds = options.seconds > 0.0 ? options.seconds : options.isLoop ? 0.0 : SignalSeconds;
    auto const duration = static_cast<std::int64_t>(seconds * static_cast<double>(Listening::NanoSecPerSec));
    if (!options.tonesHz.empty()) {
        sources.push_back(std::make_unique<TestSignal>(MakeTone(options.tonesHz), NameTone(options.tonesHz),
                                                       duration, base));
    }
    if (options.hasNoise) {
        sources.push_back(std::make_unique<TestSignal>(MakeNoise(), "white noise", duration, base));
    }
}

} // namespace

std::vector<std::unique_ptr<SoundSource>> OpenSources(PlayOptions const& options, std::istream* in) {
    std::vector<MediaInput> inputs = ListInputs(options.files, in);
    for (MediaInput const& input : inputs) {
        RequireSound(input);
    }
    Kovra::SysTime const base = Kovra::SysTime::Now();
    Sources sources;
    AddFiles(options, std::move(inputs), base, sources);
    AddSignals(options, base, sources);
    return sources;
}

std::vector<std::unique_ptr<LiveStream>> OpenStreams(PlayOptions const& options) {
    LiveStream::Settings const settings = {options.leadMilliSec * Listening::NanoSecPerMilliSec,
                                           options.isLeadAdapted};
    Transport_t const transport = options.isTcp ? Transport_t::Tcp : Transport_t::Udp;
    std::vector<std::unique_ptr<LiveStream>> streams;
    for (std::string const& address : options.streams) {
        bool const isFile = address.find("://") == std::string::npos;
        std::string const name = isFile ? FileNameOf(address) : WithoutCredentials(address);
        streams.push_back(std::make_unique<LiveStream>(
            name,
            [address, transport](LiveStream::StopFlag const& stop) {
                return OpenStream(address, transport, stop);
            },
            settings));
    }
    return streams;
}

} // namespace AudioHost
