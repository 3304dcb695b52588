// The tables of docs/testing.md on the sender's clock (tools/stream-clock).
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "network/clockcourse.h"

namespace Network {
namespace {

struct Extent {
    std::int64_t minutes = 30;
    int seeds = 20;
    std::int64_t growthHours = 72;
};

std::uint64_t SeedOf(Severity const& severity, int skew, int seed) {
    return static_cast<std::uint64_t>(seed) * 100'000 +
           static_cast<std::uint64_t>(severity.name) * 10'000'000 + static_cast<std::uint64_t>(skew + 1'000);
}

Sender MakeSender(int skewPartsPerMillion) {
    Sender sender;
    sender.skewPartsPerMillion = skewPartsPerMillion;
    return sender;
}

/// The worst of all skews and seeds of a severity.
void Worsen(ClockCourse& worst, ClockCourse const& course) {
    worst.meanMilliSec = std::max(worst.meanMilliSec, std::abs(course.meanMilliSec));
    worst.deviationMilliSec = std::max(worst.deviationMilliSec, course.deviationMilliSec);
    worst.maxMilliSec = std::max(worst.maxMilliSec, course.PeakToPeakMilliSec());
    worst.ratePartsPerMillion = std::max(worst.ratePartsPerMillion, course.ratePartsPerMillion);
    worst.fiveSecMilliSec = std::max(worst.fiveSecMilliSec, course.fiveSecMilliSec);
    worst.followSec = std::max(worst.followSec, course.followSec);
    worst.routeChanges += course.routeChanges;
    worst.routeChangesTold += course.routeChangesTold;
    worst.otherEvents += course.otherEvents;
    worst.outOfLine += course.outOfLine;
}

void PrintWander(Extent const& extent) {
    std::printf("Wander of the recovered clock, worst of %d seeds of each of %zu skews, %d minutes each\n\n",
                extent.seeds, SkewsPartsPerMillion.size(), static_cast<int>(extent.minutes));
    std::puts(
        "| | mean ms | deviation ms | peak to peak ms | streams beyond | rate ppm | after 5 s ms | streams "
        "beyond | routes | told | followed s |");
    std::puts("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|");
    for (Severity const& severity : Severities) {
        ClockCourse worst;
        int wanders = 0;
        int startsLate = 0;
        for (int const skew : SkewsPartsPerMillion) {
            for (int seed = 1; seed <= extent.seeds; ++seed) {
                Sender const sender = MakeSender(skew);
                VirtualNetwork network(severity, sender, SeedOf(severity, skew, seed));
                ClockCourse const course = RunClock(network, sender, {}, extent.minutes * 60 * NanoSecPerSec);
                Worsen(worst, course);
                // What the jitter alone explains (docs/timing.md).
                wanders += course.deviationMilliSec > severity.jitterMilliSec / 800.0 ||
                                   course.PeakToPeakMilliSec() > severity.jitterMilliSec / 80.0
                               ? 1
                               : 0;
                startsLate += course.fiveSecMilliSec > severity.jitterMilliSec / 32.0 ? 1 : 0;
            }
        }
        std::printf("| %c | %.3f | %.3f | %.2f | %d | %.1f | %.2f | %d | %lld | %lld | %.1f |\n",
                    severity.name, worst.meanMilliSec, worst.deviationMilliSec, worst.maxMilliSec, wanders,
                    worst.ratePartsPerMillion, worst.fiveSecMilliSec, startsLate,
                    static_cast<long long>(worst.routeChanges),
                    static_cast<long long>(worst.routeChangesTold), worst.followSec);
        std::fflush(stdout);
    }
}

void PrintDetours(Extent const& extent) {
    std::printf("\nA route 30 ms longer or shorter, worst of %d seeds, skews 0 to 500 ppm\n\n", extent.seeds);
    std::puts("| | longer, 90 % after s | shorter, 90 % after s | told of | told in 24 hours without |");
    std::puts("|---|---:|---:|---:|---:|");
    for (Severity const& severity : Severities) {
        double followSec[2] = {};
        std::int64_t told = 0;
        std::int64_t changes = 0;
        for (int const skew : SkewsPartsPerMillion) {
            for (int seed = 1; seed <= extent.seeds; ++seed) {
                for (int const sign : {1, -1}) {
                    Sender const sender = MakeSender(skew);
                    VirtualNetwork network(OnOneRoute(severity), sender, SeedOf(severity, skew, seed));
                    network.SetDetour(sender.startNanoSec + (90 + seed) * NanoSecPerSec, sign * 30'000'000);
                    ClockCourse const course = RunClock(network, sender, {}, 180 * NanoSecPerSec);
                    followSec[sign > 0 ? 0 : 1] = std::max(followSec[sign > 0 ? 0 : 1], course.followSec);
                    told += course.routeChangesTold > 0 ? 1 : 0;
                    ++changes;
                }
            }
        }
        Sender const sender = MakeSender(55);
        VirtualNetwork network(OnOneRoute(severity), sender, SeedOf(severity, 55, 0));
        ClockCourse const day = RunClock(network, sender, {}, 24 * 3600 * NanoSecPerSec);
        std::printf("| %c | %.1f | %.1f | %lld of %lld | %lld |\n", severity.name, followSec[0], followSec[1],
                    static_cast<long long>(told), static_cast<long long>(changes),
                    static_cast<long long>(day.routeChangesTold));
        std::fflush(stdout);
    }
}

void PrintLeads(Extent const& extent) {
    std::printf(
        "\nLead adapted to the jitter, first 100 ms, worst of %d seeds of each skew, %d minutes each\n\n",
        extent.seeds, static_cast<int>(extent.minutes));
    std::puts("| | too late % | longest lead ms | last lead ms |");
    std::puts("|---|---:|---:|---:|");
    for (Severity const& severity : Severities) {
        double late = 0.0;
        double most = 0.0;
        double last = 0.0;
        for (int const skew : SkewsPartsPerMillion) {
            for (int seed = 1; seed <= extent.seeds; ++seed) {
                Sender const sender = MakeSender(skew);
                VirtualNetwork network(severity, sender, SeedOf(severity, skew, seed));
                Media::StreamClockSettings_t settings;
                settings.isLeadAdapted = true;
                ClockCourse const course =
                    RunClock(network, sender, settings, extent.minutes * 60 * NanoSecPerSec);
                late = std::max(
                    late, 100.0 * static_cast<double>(course.tooLate) / static_cast<double>(course.frames));
                most = std::max(most, course.maxLeadMilliSec);
                last = std::max(last, course.lastLeadMilliSec);
            }
        }
        std::printf("| %c | %.3f | %.0f | %.0f |\n", severity.name, late, most, last);
        std::fflush(stdout);
    }
}

void PrintGrowth(Extent const& extent) {
    std::printf("\n%d hours at severity C, lead 100 ms, on one route\n\n",
                static_cast<int>(extent.growthHours));
    std::puts("| skew ppm | too late | out of line | told | least error ms | most error ms |");
    std::puts("|---:|---:|---:|---:|---:|---:|");
    for (int const skew : SkewsPartsPerMillion) {
        Sender const sender = MakeSender(skew);
        VirtualNetwork network(OnOneRoute(SeverityOf('C')), sender, SeedOf(SeverityOf('C'), skew, 0));
        ClockCourse const course = RunClock(network, sender, {}, extent.growthHours * 3600 * NanoSecPerSec);
        std::printf("| %d | %lld | %lld | %lld | %.3f | %.3f |\n", skew,
                    static_cast<long long>(course.tooLate), static_cast<long long>(course.outOfLine),
                    static_cast<long long>(course.routeChangesTold + course.otherEvents), course.minMilliSec,
                    course.maxMilliSec);
        std::fflush(stdout);
    }
}

/// For each packet, in the order in which they arrive: its number, its timestamp, when it arrived, when it
/// would have without jitter, the last change of route before it was sent (all ns, from the first one's
/// sending), and what the clock takes that for, in ns, empty while it takes none.
int PrintPackets(Severity const& severity, int skew, int seed, std::int64_t seconds) {
    Sender const sender = MakeSender(skew);
    VirtualNetwork network(severity, sender, SeedOf(severity, skew, seed));
    Media::StreamClockSettings_t settings;
    settings.ticksPerSec = sender.ticksPerSec;
    settings.wrapBits = sender.wrapBits;
    Media::StreamClock clock(settings);
    auto const sinceStart = [&](std::int64_t nanoSec) {
        return static_cast<long long>(nanoSec - sender.startNanoSec);
    };
    for (;;) {
        Packet const packet = network.Next();
        if (packet.sentNanoSec - sender.startNanoSec > seconds * NanoSecPerSec) {
            return 0;
        }
        auto const placement = clock.Place(packet.ticks, Kovra::JiffyTime(packet.arrivalNanoSec));
        std::printf("%lld %llu %lld %lld %lld", static_cast<long long>(packet.number),
                    static_cast<unsigned long long>(packet.ticks), sinceStart(packet.arrivalNanoSec),
                    sinceStart(packet.sentNanoSec + network.DelayAt(packet.sentNanoSec)),
                    sinceStart(std::max(network.LastChange(packet.sentNanoSec), sender.startNanoSec)));
        if (placement.verdict != Media::StreamPlacement_t::Verdict_t::OutOfLine) {
            std::printf(" %lld", sinceStart(placement.due.NanoSec() - settings.leadNanoSec));
        }
        std::puts("");
    }
}

int Main(int argumentCount, char** arguments) {
    if (argumentCount == 6 && std::strcmp(arguments[1], "--packets") == 0) {
        return PrintPackets(SeverityOf(*arguments[2]), std::atoi(arguments[3]), std::atoi(arguments[4]),
                            std::atoi(arguments[5]));
    }
    Extent extent;
    for (int i = 1; i + 1 < argumentCount; i += 2) {
        int const value = std::atoi(arguments[i + 1]);
        if (std::strcmp(arguments[i], "--minutes") == 0) {
            extent.minutes = value;
        } else if (std::strcmp(arguments[i], "--seeds") == 0) {
            extent.seeds = value;
        } else if (std::strcmp(arguments[i], "--hours") == 0) {
            extent.growthHours = value;
        }
    }
    if (argumentCount % 2 == 0 || extent.minutes < 2 || extent.seeds < 1 || extent.growthHours < 1) {
        std::fputs(
            "usage: stream_clock_table [--minutes N] [--seeds N] [--hours N]\n"
            "       stream_clock_table --packets SEVERITY SKEW SEED SECONDS\n",
            stderr);
        return 2;
    }
    PrintWander(extent);
    PrintDetours(extent);
    PrintLeads(extent);
    PrintGrowth(extent);
    return 0;
}

} // namespace
} // namespace Network

int main(int argumentCount, char** arguments) {
    return Network::Main(argumentCount, arguments);
}
