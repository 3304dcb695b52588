#include <exception>
#include <iostream>
#include <string>

#include "commands/compare.h"
#include "commands/devices.h"
#include "commands/doctor.h"
#include "commands/meter.h"
#include "commands/play.h"
#include "commands/record.h"
#include "commands/summaryjson.h"
#include "commands/talk.h"
#include "kovra/log.h"
#include "output/devicelist.h"
#include "output/silentoutput.h"
#include "page/facts.h"
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
    return command.play || command.record || command.meter || command.talk || command.compare ||
           command.devices || command.doctor;
}

char const* NameOf(AudioHost::CommandLine const& command) {
    return command.play      ? "play"
           : command.record  ? "record"
           : command.meter   ? "meter"
           : command.talk    ? "talk"
           : command.compare ? "compare"
           : command.devices ? "devices"
                             : "doctor";
}

AudioHost::ExitCode_t RunCommand(AudioHost::CommandLine const& command,
                                 AudioHost::Surroundings const& surroundings,
                                 AudioHost::CaptureAccess& capture, AudioHost::OutputAccess& output) {
    if (command.play) {
        return AudioHost::Play(*command.play, surroundings, &output, &capture);
    }
    if (command.record) {
        return AudioHost::Record(*command.record, surroundings, capture);
    }
    if (command.meter) {
        return AudioHost::Meter(*command.meter, surroundings, capture);
    }
    if (command.talk) {
        return AudioHost::Talk(*command.talk, surroundings, capture);
    }
    AudioHost::DeviceList const devices = AudioHost::ListDevices();
    return command.doctor ? AudioHost::Doctor(*command.doctor, devices, surroundings, capture, output)
                          : AudioHost::Devices(devices, command.telling, surroundings);
}

/// Takes what is written and keeps nothing.
std::ostream& GetNowhere() {
    static std::ostream nowhere(nullptr);
    return nowhere;
}

/// Where the command tells what it does. Standard output is the object's alone where one is asked for.
AudioHost::Surroundings MakeSurroundings(AudioHost::Telling const& telling, Media::RendererAudio& renderer,
                                         AudioHost::StopSignal& stop) {
    AudioHost::Stream_t const stream =
        telling.isJson ? AudioHost::Stream_t::Error : AudioHost::Stream_t::Output;
    std::ostream& prose = telling.isJson ? std::cerr : std::cout;
    AudioHost::Surroundings surroundings{renderer, stop, telling.isQuiet ? GetNowhere() : prose};
    // A line that is rewritten would end up among log records.
    surroundings.isTerminal = AudioHost::IsTerminal(stream) && !telling.isQuiet && !telling.isVerbose;
    surroundings.countColumns = [stream] { return AudioHost::CountColumns(stream); };
    surroundings.json = telling.isJson ? &std::cout : nullptr;
    surroundings.in = &std::cin;
    if (telling.isVerbose) {
        Kovra::LogManager::Instance().SetConsole(Kovra::LogLevel_t::Info);
    }
    return surroundings;
}

AudioHost::ExitCode_t Run() {
    AudioHost::SetUpConsole();
    std::vector<std::string> const arguments = AudioHost::GetArguments();
    AudioHost::CommandLine const command = AudioHost::ReadCommandLine(arguments);
    if (!IsCommand(command)) {
        (command.code == AudioHost::ExitCode_t::Ok ? std::cout : std::cerr) << command.text << std::endl;
        return command.code;
    }
    if (command.compare) {
        return AudioHost::Compare(*command.compare, std::cout);
    }
    // What is wrong with a file is said in a sentence of our own.
    av_log_set_level(AV_LOG_QUIET);
    static AudioHost::StopSignal stop;
    AudioHost::StopOnInterrupt(stop);
    Media::RendererAudio renderer;
    AudioHost::RendererAccess capture(renderer);
    AudioHost::SilentOutput output;
    AudioHost::ConsoleScreen screen;
    AudioHost::Surroundings surroundings = MakeSurroundings(command.telling, renderer, stop);
    surroundings.screen = surroundings.isTerminal ? &screen : nullptr;
    surroundings.describe = [&arguments] { return AudioHost::DescribeAll("audiohost", arguments); };
    return AudioHost::RunToObject(NameOf(command), surroundings.json,
                                  [&] { return RunCommand(command, surroundings, capture, output); });
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
