#include <exception>
#include <iostream>

#include "commands/meter.h"
#include "commands/play.h"
#include "commands/record.h"
#include "kovra/log.h"
#include "output/silentoutput.h"
#include "record/rendereraccess.h"
#include "rendereraudio.h"
#include "terminal/atend.h"
#include "terminal/console.h"
#include "terminal/consolescreen.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

bool IsCommand(AudioHost::CommandLine const& command) {
    return command.play || command.record || command.meter;
}

AudioHost::ExitCode_t RunCommand(AudioHost::CommandLine const& command,
                                 AudioHost::Surroundings const& surroundings,
                                 AudioHost::CaptureAccess& capture, AudioHost::OutputAccess& output) {
    if (command.play) {
        return AudioHost::Play(*command.play, surroundings, &output);
    }
    if (command.record) {
        return AudioHost::Record(*command.record, surroundings, capture);
    }
    return AudioHost::Meter(*command.meter, surroundings, capture);
}

AudioHost::ExitCode_t Run() {
    bool const isTerminal = AudioHost::SetUpConsole();
    AudioHost::CommandLine const command = AudioHost::ReadCommandLine(AudioHost::GetArguments());
    if (!IsCommand(command)) {
        (command.code == AudioHost::ExitCode_t::Ok ? std::cout : std::cerr) << command.text << std::endl;
        return command.code;
    }
    // What is wrong with a file is said in a sentence of our own.
    av_log_set_level(AV_LOG_QUIET);
    static AudioHost::StopSignal stop;
    AudioHost::StopOnInterrupt(stop);
    Media::RendererAudio renderer;
    AudioHost::RendererAccess capture(renderer);
    AudioHost::SilentOutput output;
    AudioHost::ConsoleScreen screen;
    return RunCommand(command, {renderer, stop, std::cout, isTerminal, isTerminal ? &screen : nullptr},
                      capture, output);
}

} // namespace

int main() {
    // The log's thread is joined by nobody.
    AudioHost::AtEnd const flush([] { Kovra::LogManager::Instance().Flush(); });
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
