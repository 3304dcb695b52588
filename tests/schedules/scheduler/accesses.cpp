#include "accesses.h"

#include <sanitizer/common_interface_defs.h>

namespace Schedules {

namespace {

std::string NameOf(void const* place) {
    std::array<char, 400> text{};
    __sanitizer_symbolize_pc(const_cast<void*>(place), "%f %S", text.data(), text.size());
    return text.data();
}

std::string Describe(char const* what, void const* place, char const* otherWhat, void const* otherPlace) {
    return std::string("nothing orders ") + what + " in " + NameOf(place) + " and " + otherWhat + " in " +
           NameOf(otherPlace);
}

} // namespace

std::string Accesses::Read(void const* field, ThreadId thread, Clock const& clock, void const* place) {
    Cell& cell = cells_[field];
    cell.read[thread] = clock.known[thread];
    cell.readPlaces[thread] = place;
    if (cell.writer != thread && cell.written > clock.known[cell.writer]) {
        return Describe("a read", place, "a write", cell.writePlace);
    }
    return {};
}

std::string Accesses::Write(void const* field, ThreadId thread, Clock const& clock, void const* place) {
    Cell& cell = cells_[field];
    std::string race;
    if (cell.writer != thread && cell.written > clock.known[cell.writer]) {
        race = Describe("a write", place, "a write", cell.writePlace);
    }
    for (ThreadId other = 0; other < MaxThreads && race.empty(); ++other) {
        if (other != thread && cell.read[other] > clock.known[other]) {
            race = Describe("a write", place, "a read", cell.readPlaces[other]);
        }
    }
    cell.writer = thread;
    cell.written = clock.known[thread];
    cell.writePlace = place;
    return race;
}

} // namespace Schedules
