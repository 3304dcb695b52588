#include "report/reportnumbers.h"

#include "page/text.h"

namespace AudioHost {

Grade_t ToGrade(Outcome_t outcome) {
    return outcome == Outcome_t::Good  ? Grade_t::Good
           : outcome == Outcome_t::Bad ? Grade_t::Bad
                                       : Grade_t::Fair;
}

std::string SoundFileName(Kovra::SysTime startedAt, std::string const& id) {
    return FormatUtc(startedAt, "%Y%m%d-%H%M%S-") + id + ".flac";
}

} // namespace AudioHost
