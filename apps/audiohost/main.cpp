#include <exception>
#include <iostream>

#include "console.h"
#include "hosterror.h"
#include "options.h"
#include "play.h"
#include "rendereraudio.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

AudioHost::ExitCode_t Run() {
    bool const isTerminal = AudioHost::SetUpConsole();
    AudioHost::CommandLine const command = AudioHost::ReadCommandLine(AudioHost::GetArguments());
    if (!command.play) {
        (command.code == AudioHost::ExitCode_t::Ok ? std::cout : std::cerr) << command.text << std::endl;
        return command.code;
    }
    // What is wrong with a file is said in a sentence of our own.
    av_log_set_level(AV_LOG_QUIET);
    static AudioHost::StopSignal stop;
    AudioHost::StopOnInterrupt(stop);
    Media::RendererAudio renderer;
    return AudioHost::Play(*command.play, {renderer, stop, std::cout, isTerminal});
}

} // namespace

int main() {
    try {
        return static_cast<int>(Run());
    } catch (AudioHost::HostError const& error) {
        std::cerr << "audiohost: " << error.what() << std::endl;
        return static_cast<int>(error.GetCode());
    } catch (std::exception const& error) {
        std::cerr << "audiohost: internal error: " << error.what() << std::endl;
        return static_cast<int>(AudioHost::ExitCode_t::Internal);
    }
}
