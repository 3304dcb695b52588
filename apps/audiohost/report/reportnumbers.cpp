#include "report/reportnumbers.h"

#include "page/text.h"

namespace AudioHost {

Grade_t ToGrade(Outcome_t outcome) {
    switch (outcome) {
        case Outcome_t::Good:
            return Grade_t::Good;
        case Outcome_t::OutputGlitch:
            return Grade_t::Fair;
        case Outcome_t::Bad:
            break;
    }
    return Grade_t::Bad;
}

std::string SoundFileName(Kovra::SysTime startedAt, std::string const& id) {
    return FormatUtc(startedAt, "%Y%m%d-%H%M%S-") + id + ".flac";
}

} // namespace AudioHost
