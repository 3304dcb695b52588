#include "logfolds.h"

#include <algorithm>
#include <cstddef>

namespace Kovra {

namespace {

constexpr std::int64_t FoldNanoSec = 10 * NanoSecPerSec;
/// Kinds that are told apart at a time, more than all sessions that a machine can play have together:
/// somebody may log ever new texts.
constexpr std::size_t MaxFolds = 1024;

/// What records must have in common to be folded.
std::string KindOf(LogRecord const& record) {
    return record.channel + '\n' + std::to_string(static_cast<int>(record.level)) + '\n' +
           std::to_string(record.subject) + '\n' + record.file + ':' + std::to_string(record.line) + '\n' +
           HideNumbers(record.message);
}

/// Whole seconds, rounded up, 1 at least.
std::int64_t ToSeconds(std::int64_t nanoSec) {
    return nanoSec <= 0 ? 1 : (nanoSec - 1) / NanoSecPerSec + 1;
}

/// Either way: a clock may have been replaced by one that is behind.
bool IsDue(JiffyTime since, JiffyTime now) {
    std::int64_t const age = now.GetDiffSysTime(since).NanoSec();
    return age >= FoldNanoSec || age <= -FoldNanoSec;
}

} // namespace

void LogFolds::Add(LogRecord const& record) {
    CloseDue(record.time);
    auto const [place, isNew] = folds_.try_emplace(KindOf(record));
    Fold& fold = place->second;
    if (!isNew) {
        ++fold.count;
        fold.last = record;
        return;
    }
    fold.since = record.time;
    write_(record);
    if (folds_.size() > MaxFolds) {
        Close();
    }
}

void LogFolds::Close() {
    for (auto& [kind, fold] : folds_) {
        Write(fold);
    }
    folds_.clear();
}

void LogFolds::CloseDue(JiffyTime now) {
    bool const mayBeDue = now < latest_ || IsDue(oldest_, now);
    latest_ = now;
    if (!mayBeDue) {
        return;
    }
    oldest_ = now;
    for (auto place = folds_.begin(); place != folds_.end();) {
        Fold& fold = place->second;
        if (IsDue(fold.since, now)) {
            Write(fold);
        }
        // It has not moved: the kind has not come for so long, or not again.
        if (IsDue(fold.since, now)) {
            place = folds_.erase(place);
        } else {
            oldest_ = std::min(oldest_, fold.since);
            ++place;
        }
    }
}

/// The line that stands for what the fold holds back.
void LogFolds::Write(Fold& fold) {
    if (fold.count == 0) {
        return;
    }
    if (fold.count > 1) {
        std::int64_t const span = fold.last.time.GetDiffSysTime(fold.since).NanoSec();
        fold.last.message +=
            " ... " + std::to_string(fold.count) + " times in " + std::to_string(ToSeconds(span)) + " s";
    }
    write_(fold.last);
    fold.since = fold.last.time;
    fold.count = 0;
}

} // namespace Kovra
