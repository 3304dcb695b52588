"""The cases of check-live that take half an hour and a hundred restarts: what grows, and what is worn out."""
import audioop
import bisect
import datetime
import json
import signal
import statistics
import subprocess
import time

from relay import Relay
from stage import (CHECKOUT, HANG_SECONDS, LEAST_LEVEL, PART_SAMPLES, SOURCE_HZ, SOURCE_SECONDS, TRANSPORT_STREAM,
                   free_port, is_bound, make_source, require, wait_until)

LONG_SECONDS = 1800
# More than a machine stands still for, which leaves packets out at the lead that the jitter alone asks for.
LONG_LEAD = 300
SOURCE_SAMPLES = SOURCE_SECONDS * SOURCE_HZ
# Before the end, and past the beginning, when the clocks are still being learnt.
MEASURED_SECONDS = 60
# A sender that is not followed is off by 540 ms after half an hour at 300 ppm; the cursor that the renderer follows
# moves in steps of 10 ms.
DELAY_SECONDS = 0.005
# The delay is the middle one of so much sound.
WINDOW_SECONDS = 10
# An output that stood still for 130 ms sounds 14 ms earlier from then on: of what comes behind its cursor nobody knows.
# The rest, which a step of the cursor may hide some of, the playback frequency brings back by 40 Hz of 48000, or the
# renderer begins anew.
RECOVERED_FACTOR, RECOVERED_SECONDS, STEP_SECONDS = 1200, 60, 0.01
# At least so much has to lie between the ends of what is left: a clock off by 11 ppm is noticed.
UNDISTURBED_SECONDS = LONG_SECONDS / 4

RESTARTS = 20
SOUNDS_SECONDS, AWAY_SECONDS = 4, 1
NOTICED_SECONDS, BACK_SECONDS = 3, 1.5
# A part, and what a recorder holds back.
BLUR_SECONDS = 0.2

STREAMS = 16
# Of a sender in the sum of all. A block sticks out of the others' noise, which explains 0.12 of it by chance and 0.3 at
# the best of all places nearby; two thirds are left when it lies between two samples or its playback frequency changes,
# by which it moves by less than a sample.
BLOCK_SAMPLES, LEAST_FACTOR = SOURCE_HZ // 8, 0.35
NEAR_SAMPLES = SOURCE_HZ // 500
# Records of the renderer of what is heard as a break. Told from the first frame on, which is the first one of the records
# to a second.
BREAKS = "resetting", "stopping", "packet loss"
BEGIN_SECONDS = 5
# So soon after the output stood still blocks are elsewhere. An error that the cursor's steps still hide may begin a
# session anew until the playback frequency has brought back a step.
SHARED_SECONDS, HIDDEN_SECONDS = 5, RECOVERED_FACTOR * STEP_SECONDS
# As told: of glitches, and of sessions that have lost their places.
NEAR_SECONDS = 2
# Not found for so many blocks, it is looked for everywhere: with a longer piece, as there are more places. At 47960 or
# 48040 Hz, as it is played after the output stood still, a second of it drifts by seven samples and is like no place.
LOST_BLOCKS, SEARCHED_SAMPLES = 8, SOURCE_HZ // 4

# As in tests/support/process: what a process has more or less of by itself, among it the event of a lock that was
# contended for the first time, of which each stream has some. Memory: what an allocator keeps. Until it is settled a
# session's points for the summary come together (half a megabyte, six and a half minutes), and the library's ring for
# datagrams is written for the first time (five megabytes, three minutes).
PASSING_RESOURCES, PASSING_BYTES, SETTLED_SECONDS = 5, 8 * 2**20, 420


def read_resources():
    """Handles, threads and bytes that audiohost has."""
    told = subprocess.run([CHECKOUT / "tools/setup/wine-run", CHECKOUT / "build/windows/bin/live_resources.exe",
                           "audiohost.exe"], stdout=subprocess.PIPE, text=True, check=True)
    return [int(word) for word in told.stdout.split()]


def require_flat(before, after, streams=1):
    print(f"handles, threads, bytes: {before}, then {after}")
    passing = PASSING_RESOURCES + streams, PASSING_RESOURCES, PASSING_BYTES
    require(all(now <= was + more for was, now, more in zip(before, after, passing)),
            f"of handles, threads, bytes it had {before}, then {after}")


def require_flat_to_the_end(played, streams=1):
    """Of what plays for LONG_SECONDS."""
    played.go_on(SETTLED_SECONDS)
    before = read_resources()
    played.go_on(LONG_SECONDS - SETTLED_SECONDS - MEASURED_SECONDS)
    require_flat(before, read_resources(), streams)


def delays_of(found, arrivals):
    """From the arrival of each part to when it is heard, but for a constant. Parts in their order (place heard, place in a
    source that is sent again and again)."""
    instants = [instant for instant, _ in arrivals]
    samples = [(stamp - arrivals[0][1]) % 2**32 for _, stamp in arrivals]
    delays, laps = [], 0
    for before, (start, place) in zip([(0, 0)] + found, found):
        laps += place < before[1] - SOURCE_SAMPLES // 2
        sent = laps * SOURCE_SAMPLES + place
        at = bisect.bisect_right(samples, sent) - 1
        if 0 <= at < len(samples) - 1:
            delays.append(start / SOURCE_HZ - instants[at] - (sent - samples[at]) / SOURCE_HZ)
    return delays


def case_fast_sender(stage):
    """300 ppm fast for half an hour: nothing is lost, and no delay grows."""
    port = free_port()
    relay = Relay(port, seed=7, jitter_seconds=0.01)
    stage.stack.callback(relay.close)
    _, sdp = stage.send_rtp(relay.port, port, pace=("-readrate", "1.0003", "-stream_loop", "-1"))
    played = stage.play(sdp, "--lead", LONG_LEAD, seconds=LONG_SECONDS)
    require_flat_to_the_end(played)
    session = played.result()[0]
    print(session)
    require(session["stream"]["lossPercent"] == 0 and session["framesFailed"] == 0, f"sound is missing: {session}")
    require(abs(session["stream"]["skewPpm"] - 300) < 10, f"the skew is told as {session['stream']}")
    delays = delays_of(played.find_in(stage.source), relay.arrivals)
    require(len(delays) * 2 * PART_SAMPLES > 0.99 * LONG_SECONDS * SOURCE_HZ, f"{len(delays)} parts were heard")
    stalls = stalls_of(played)
    changes, off, seconds = changes_of(delays, stalls)
    print(f"of {seconds} s between {len(stalls)} glitches of the output the delay changed by "
          f"{' '.join(f'{1000 * change:.1f}' for change in changes)} ms; {off} parts were off")
    require(seconds >= UNDISTURBED_SECONDS, f"the output left {seconds} s")
    require(max(map(abs, changes)) <= DELAY_SECONDS, f"the delay changed by {changes} s")
    require(abs(sum(changes)) <= DELAY_SECONDS, f"the delay changed by {sum(changes)} s in all")
    require(off < 0.01 * len(delays), f"{off} of {len(delays)} parts are off")


def changes_of(delays, stalls):
    """By how much the delay changed from beginning to end of each stretch that the output left alone; how many parts were
    elsewhere than those around them, and how far apart the stretches' ends lie. Delays of parts from the beginning on, and
    at which second the output stood still for how many."""
    disturbed = [(place, place + min(RECOVERED_SECONDS, RECOVERED_FACTOR * (stood + STEP_SECONDS)))
                 for place, stood in stalls]
    per_window = WINDOW_SECONDS * SOURCE_HZ // (2 * PART_SAMPLES)
    changes, off, seconds, first, last = [], 0, 0, None, None
    for start in range(0, len(delays) - per_window + 1, per_window):
        window = delays[start:start + per_window]
        begins = start * WINDOW_SECONDS // per_window
        is_alone = begins >= MEASURED_SECONDS and not any(
            begin - WINDOW_SECONDS - 1 < begins < end for begin, end in disturbed)
        if is_alone:
            last = statistics.median(window)
            seconds += WINDOW_SECONDS if first is not None else 0
            first = last if first is None else first
            off += sum(abs(delay - last) > 2 * DELAY_SECONDS for delay in window)
        elif first is not None:
            changes.append(last - first)
            first = None
    return changes + ([last - first] if first is not None else []), off, seconds


def silences(heard):
    """Of each stretch of half a second and more without sound: where it begins and where it ends."""
    found, began = [], None
    step = SOURCE_HZ // 100
    for start in range(0, len(heard) // 2, step):
        if audioop.rms(heard[2 * start:2 * (start + step)], 2) <= LEAST_LEVEL:
            began = start if began is None else began
            continue
        if began is not None and start - began > SOURCE_HZ // 2:
            found.append((began, start))
        began = None
    return found


def stalls_of(played, begins=0.0):
    """At which second the output stood still, and for how many; told from the first frame on, which is the first sound
    but for the lead."""
    return [(begins + place["atSeconds"], place["milliSec"] / 1000)
            for place in json.loads(played.printed)["output"]["places"]]


def first_sound(heard):
    """The second."""
    step = SOURCE_HZ // 100
    return next(start / SOURCE_HZ for start in range(0, len(heard) // 2, step)
                if audioop.rms(heard[2 * start:2 * (start + step)], 2) > LEAST_LEVEL)


def restart_again_and_again(stage, serve, address, *words):
    """Plays what is served; what was played, and the instants at which it was served again."""
    server = serve()
    played = stage.play(address, *words, seconds=RESTARTS * (SOUNDS_SECONDS + AWAY_SECONDS + 2 * NOTICED_SECONDS))
    answers = []
    for count in range(RESTARTS):
        played.wait_for_line("jitter", since=time.monotonic())
        if count == 1:
            before = read_resources()
        time.sleep(SOUNDS_SECONDS)
        killed = time.monotonic()
        server.kill()
        server.wait()
        noticed = played.wait_for_line("broken, opening again", since=killed) - killed
        # Progress is told once a second.
        require(noticed < NOTICED_SECONDS + 1, f"loss {count} is noticed after {noticed} s")
        time.sleep(AWAY_SECONDS)
        server = serve()
        answers.append(time.monotonic())
    played.wait_for_line("jitter", since=time.monotonic())
    require_flat(before, read_resources())
    time.sleep(SOUNDS_SECONDS)
    played.process.send_signal(signal.SIGINT)
    played.wait()
    played.require_ended_with(130)
    ends = [played.heard_since + end / SOURCE_HZ for _, end in silences(played.heard())]
    back = [min((end - answer for end in ends if end > answer - BLUR_SECONDS), default=HANG_SECONDS)
            for answer in answers]
    print("sound is back after", " ".join(f"{seconds:.2f}" for seconds in back), "s")
    require(max(back) < BACK_SECONDS + BLUR_SECONDS, f"sound is back {back} s after it was there")
    stream = json.loads(played.printed)["sessions"][0]["stream"]
    require(stream["breaks"] == RESTARTS, f"it broke: {stream}")
    return played


def case_killed_rtsp(stage, *words):
    port = free_port()
    restart_again_and_again(stage, lambda: stage.serve(port), f"rtsp://127.0.0.1:{port}/pcmu", *words)


def case_killed_http(stage):
    port = free_port()
    address = f"http://127.0.0.1:{port}/a"

    def serve():
        server = stage.send("-c:a", "aac", "-f", "adts", "-listen", "1", address)
        wait_until(lambda: is_bound(port, "tcp"), "the server does not answer")
        return server

    restart_again_and_again(stage, serve, address)


def case_killed_transport_stream(stage):
    address = f"udp://127.0.0.1:{free_port()}"
    restart_again_and_again(stage, lambda: stage.send(*TRANSPORT_STREAM, f"{address}?pkt_size=1316"), address)


def case_killed_rtp(stage):
    """Nobody answers there, but the delay can be seen: it is the one of before each time."""
    port = free_port()
    relay = Relay(port, seed=9)
    stage.stack.callback(relay.close)
    firsts = []

    def serve():
        firsts.append(len(relay.arrivals))
        return stage.send_rtp(relay.port, port)[0]

    played = restart_again_and_again(stage, serve, stage.folder / "sound.sdp", "--lead", "200")
    heard = played.heard()
    found = played.find_in(stage.source)
    breaks = [end for _, end in silences(heard)] + [len(heard) // 2]
    delays = []
    for first, last, start, end in zip(firsts, firsts[1:] + [None], breaks, breaks[1:]):
        # The first packets of a sender that begins are late.
        arrivals = relay.arrivals[first:last]
        earliest = min(instant - (stamp - arrivals[0][1]) % 2**32 / SOURCE_HZ for instant, stamp in arrivals)
        delays.append(statistics.median((at - place) / SOURCE_HZ for at, place in found if start <= at < end) - earliest)
    print("delays but for a constant", " ".join(f"{1000 * (delay - delays[0]):.1f}" for delay in delays), "ms")
    # What came before the output stood still is not as far behind its cursor as what came after it.
    stalls = stalls_of(played, first_sound(heard))
    groups = [[delays[0]]]
    for delay, start, end in zip(delays[1:], breaks, breaks[2:]):
        stood = sum(stood for place, stood in stalls if start <= place * SOURCE_HZ < end)
        if stood > 0:
            moved = delay - groups[-1][-1]
            require(abs(moved) <= stood + 2 * DELAY_SECONDS, f"the output stood still for {stood} s, and moved by {moved} s")
            groups.append([])
        groups[-1].append(delay)
    require(len(groups) <= RESTARTS // 2, f"the output stood still between {len(groups)} groups of restarts")
    require(all(max(group) - min(group) <= 2 * DELAY_SECONDS for group in groups), f"the delays are {groups}")


def case_streams(stage):
    """Sixteen streams for half an hour, each found in the sum of all."""
    sources, words = [], []
    for number in range(STREAMS):
        sources.append(make_source(number, 0.06))
        sound = stage.write_sound(f"voice{number}", sources[-1])
        port = free_port()
        if number % 2 == 0:
            words.append(stage.send_rtp(port, port, sound=sound, pace=("-re", "-stream_loop", "-1"))[1])
        else:
            words.append(f"udp://127.0.0.1:{port}")
            stage.send(*TRANSPORT_STREAM, f"{words[-1]}?pkt_size=1316", sound=sound, pace=("-re", "-stream_loop", "-1"))
    played = stage.play(*words, "--lead", LONG_LEAD, seconds=LONG_SECONDS)
    require_flat_to_the_end(played, STREAMS)
    sessions = played.result()
    heard = played.heard()
    glitches = [place for place, _ in stalls_of(played, first_sound(heard))]
    lost = []
    for number, (session, source) in enumerate(zip(sessions, sources)):
        print(session)
        require(session["stream"]["lossPercent"] == 0 and session["framesFailed"] == 0, f"sound is missing: {session}")
        there, blocks, places = follow(heard, source, glitches)
        print(f"{there} of {blocks} blocks are in place")
        # By chance one of some hundreds that lie between two samples is below.
        require(there >= 0.99 * blocks, f"{there} of {blocks} blocks of {session['name']} are in place")
        lost += [(place, number) for place in places]
    # What moves most of them at once is the output, also where audiohost has not noticed.
    noticed = len(glitches)
    for place, _ in sorted(lost):
        moved = {number for other, number in lost if 0 <= other - place <= NEAR_SECONDS}
        if len(moved) > STREAMS // 2 and not any(abs(glitch - place) <= SHARED_SECONDS for glitch in glitches):
            glitches.append(place)
    lines = played.log_path.read_text().splitlines()
    begun = instant_of(lines[0]) - datetime.timedelta(seconds=first_sound(heard))
    breaks = [((instant_of(line) - begun).total_seconds(), line)
              for line in lines if any(word in line for word in BREAKS)]
    # Streams may begin with frames that are late already.
    breaks = [(place, line) for place, line in breaks if place > first_sound(heard) + BEGIN_SECONDS]
    own = [line for place, line in breaks
           if not any(-NEAR_SECONDS <= place - glitch <= HIDDEN_SECONDS for glitch in glitches)]
    print(f"{len(breaks)} breaks, {len(own)} of them with none of the output's {len(glitches)} glitches, of which audiohost "
          f"noticed {noticed}")
    require(not own, f"{len(own)} breaks of a session's own, the first: {own[:3]}")


def instant_of(line):
    """Of a record in the log, to the second."""
    return datetime.datetime.fromisoformat(line[:19])


def follow(heard, source, glitches):
    """How many blocks of one of several sounds, sent again and again, are where they are due, how many are due, and the
    seconds at which its place was lost. What an output that stands still does is not counted."""
    again = source + source[:2 * SEARCHED_SAMPLES]
    there = blocks = place = 0
    lost = []
    missed = LOST_BLOCKS
    first = int(first_sound(heard) * SOURCE_HZ)
    for start in range(first + BEGIN_SECONDS * SOURCE_HZ, first + (LONG_SECONDS - 1) * SOURCE_HZ, BLOCK_SAMPLES):
        if missed >= LOST_BLOCKS:
            lost.append((start - LOST_BLOCKS * BLOCK_SAMPLES) / SOURCE_HZ)
            place = audioop.findfit(again, heard[2 * start:2 * (start + SEARCHED_SAMPLES)])[0]
            missed = 0
        block = heard[2 * start:2 * (start + BLOCK_SAMPLES)]
        near = (place - NEAR_SAMPLES) % SOURCE_SAMPLES
        window = again[2 * near:2 * (near + BLOCK_SAMPLES + 2 * NEAR_SAMPLES)]
        offset = audioop.findfit(window, block)[0]
        factor = audioop.findfactor(block, window[2 * offset:2 * (offset + BLOCK_SAMPLES)])
        is_due = not any(-1 <= start / SOURCE_HZ - glitch <= SHARED_SECONDS for glitch in glitches)
        blocks += is_due
        if factor >= LEAST_FACTOR:
            there += is_due
            missed = 0
            place = near + offset
        else:
            missed += 1
        place = (place + BLOCK_SAMPLES) % SOURCE_SAMPLES
    return there, blocks, lost[1:]


LONG_CASES = {
    "fast-sender": case_fast_sender,
    "killed-rtsp": case_killed_rtsp,
    "killed-rtsp-tcp": lambda stage: case_killed_rtsp(stage, "--tcp"),
    "killed-http": case_killed_http,
    "killed-transport-stream": case_killed_transport_stream,
    "killed-rtp": case_killed_rtp,
    "streams": case_streams,
}
