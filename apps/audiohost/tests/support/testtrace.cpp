#include "support/testtrace.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace AudioHost {

namespace {

using Json = nlohmann::json;
using Track = std::pair<int, int>;

/// Goes through the events of one trace.
class TraceCheck {
public:
    void Look(Json const& event) {
        ++number_;
        if (!event.is_object()) {
            Blame("is no object");
        } else if (HasText(event, "name") && HasText(event, "ph") && HasInteger(event, "pid") &&
                   HasInteger(event, "tid")) {
            LookAtPhase(event, event["ph"].get<std::string>());
        }
    }

    std::vector<std::string> Finish() {
        for (auto const& [track, open] : begun_) {
            if (open != 0) {
                faults_.push_back("a begin on track " + NameOf(track) + " has no end");
            }
        }
        for (Track const& track : used_) {
            if (names_.count({"process_name", {track.first, 0}}) == 0) {
                faults_.push_back("process " + std::to_string(track.first) + " has no name");
            }
            if (track.second != 0 && names_.count({"thread_name", track}) == 0) {
                faults_.push_back("track " + NameOf(track) + " has no name");
            }
        }
        return faults_;
    }

private:
    static std::string NameOf(Track const& track) {
        return std::to_string(track.first) + "/" + std::to_string(track.second);
    }

    void Blame(std::string const& what) {
        faults_.push_back("event " + std::to_string(number_) + " " + what);
    }

    bool Require(bool isSo, std::string const& what) {
        if (!isSo) {
            Blame(what);
        }
        return isSo;
    }
    bool HasText(Json const& event, char const* member) {
        return Require(event.contains(member) && event[member].is_string(),
                       std::string("has no text ") + member);
    }
    bool HasInteger(Json const& event, char const* member) {
        return Require(event.contains(member) && event[member].is_number_integer(),
                       std::string("has no integer ") + member);
    }
    bool HasNumber(Json const& event, char const* member) {
        return Require(event.contains(member) && event[member].is_number(),
                       std::string("has no number ") + member);
    }

    void LookAtPhase(Json const& event, std::string const& phase) {
        Track const track = {event["pid"].get<int>(), event["tid"].get<int>()};
        if (phase == "M") {
            LookAtName(event, track);
            return;
        }
        used_.insert(track);
        if (!HasNumber(event, "ts")) {
            return;
        }
        auto const time = event["ts"].get<double>();
        Require(time >= 0.0, "has a time below zero");
        auto const [latest, isFirst] = latest_.try_emplace(track, time);
        Require(isFirst || time >= latest->second, "runs back in time on its track");
        latest->second = time;
        if (phase == "X") {
            LookAtSpan(event, track, time);
        } else if (phase == "B" || phase == "E") {
            begun_[track] += phase == "B" ? 1 : -1;
            Require(begun_[track] >= 0, "is an end without begin");
        } else if (phase == "i") {
            Require(HasText(event, "s") && std::set<std::string>{"g", "p", "t"}.count(event["s"]) == 1,
                    "has no scope");
        } else if (phase == "C") {
            LookAtCurve(event);
        } else {
            Blame("has the unknown phase " + phase);
        }
    }

    void LookAtName(Json const& event, Track const& track) {
        auto const name = event["name"].get<std::string>();
        bool const isKnown = name == "process_name" || name == "thread_name";
        if (Require(isKnown, "names nothing known") &&
            Require(event.contains("args") && event["args"].contains("name"), "has no name in it")) {
            names_.insert({name, name == "process_name" ? Track(track.first, 0) : track});
        }
    }

    void LookAtSpan(Json const& event, Track const& track, double time) {
        if (!HasNumber(event, "dur")) {
            return;
        }
        double const end = time + event["dur"].get<double>();
        Require(end >= time, "lasts less than no time");
        auto& open = open_[track];
        while (!open.empty() && open.back() <= time) {
            open.pop_back();
        }
        // Half a nanosecond: times are rounded.
        Require(open.empty() || end <= open.back() + 0.0005, "ends behind the one around it");
        open.push_back(end);
    }

    void LookAtCurve(Json const& event) {
        bool const hasValues = event.contains("args") && event["args"].is_object() && !event["args"].empty();
        Require(hasValues && std::all_of(event["args"].begin(), event["args"].end(),
                                         [](Json const& value) { return value.is_number(); }),
                "is a curve without numbers");
    }

    int number_ = -1;
    std::vector<std::string> faults_;
    std::map<Track, double> latest_;
    std::map<Track, int> begun_;
    std::map<Track, std::vector<double>> open_;
    std::set<Track> used_;
    std::set<std::pair<std::string, Track>> names_;
};

} // namespace

std::vector<std::string> FindTraceFaults(std::string const& text) {
    Json const events = Json::parse(text, nullptr, false);
    if (!events.is_array()) {
        return {"is no JSON array"};
    }
    TraceCheck check;
    for (Json const& event : events) {
        check.Look(event);
    }
    return check.Finish();
}

std::vector<Json> ReadTrace(std::string const& text) {
    return Json::parse(text).get<std::vector<Json>>();
}

} // namespace AudioHost
