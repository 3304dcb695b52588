"""peers.py TABLE [SECONDS [SEEDS]]: how well others recover the clocks that the stream clock recovers.

The same packets, behind networks of the severities A to F, go through

- the stream clock, as TABLE (stream_clock_table --packets) has it;
- GStreamer's rtpjitterbuffer as the distribution has it, with its usual settings: a packet's time is the one that
  its buffer comes out with;
- the law by which WebRTC's receiver extrapolates a sender's timestamps: least squares over all packets, whose offset is
  free again when a sum of the errors raises an alarm, and everything after ten seconds without a packet.

Prints the worst of all skews and seeds: how far the error spreads, from 64 s after the start on and 10 s after a changed
route; its mean (how late a packet is had to come at the earliest); and how many packets came after a lead of 100 ms.
"""
import math
import subprocess
import sys

import gi

gi.require_version("Gst", "1.0")
from gi.repository import Gst  # noqa: E402

NANO_SEC = 1_000_000_000
TICKS_PER_SEC = 48000
SKEWS = (0, 100, -500)
SEVERITIES = "ABCDEF"
LEAD_NANO_SEC = 100_000_000
SETTLED_NANO_SEC = 64 * NANO_SEC
AFTER_CHANGE_NANO_SEC = 10 * NANO_SEC


class Packet:
    def __init__(self, line):
        words = [int(word) for word in line.split()]
        self.number, self.ticks, self.arrival, self.truth, self.change = words[:5]
        self.ours = words[5] if len(words) > 5 else None


def ours(packets):
    return {packet.number: packet.ours for packet in packets if packet.ours is not None}


def gstreamer(packets):
    # Numbers without a gap: it would wait for what is lost, on a clock; for the time of a packet that says nothing.
    ranks = {number: rank for rank, number in enumerate(sorted(packet.number for packet in packets))}
    pipeline = Gst.parse_launch("rtpjitterbuffer name=jitter faststart-min-packets=1"
                                " ! appsink name=out sync=false async=false")
    pipeline.set_state(Gst.State.PLAYING)
    entry = pipeline.get_by_name("jitter").get_static_pad("sink")
    segment = Gst.Segment()
    segment.init(Gst.Format.TIME)
    for event in (Gst.Event.new_stream_start("packets"),
                  Gst.Event.new_caps(Gst.Caps.from_string(f"application/x-rtp,media=audio,clock-rate={TICKS_PER_SEC},"
                                                          "encoding-name=L16,payload=96")),
                  Gst.Event.new_segment(segment)):
        entry.send_event(event)
    out = pipeline.get_by_name("out")
    found = {}

    def collect(waitNanoSec):
        while (sample := out.emit("try-pull-sample", waitNanoSec)) is not None:
            buffer = sample.get_buffer()
            found[int.from_bytes(buffer.extract_dup(12, 8), "big")] = buffer.pts

    for packet in packets:
        header = bytes([0x80, 96]) + (ranks[packet.number] & 0xFFFF).to_bytes(2, "big")
        header += packet.ticks.to_bytes(4, "big") + bytes(4)
        buffer = Gst.Buffer.new_wrapped(header + packet.number.to_bytes(8, "big"))
        buffer.dts = packet.arrival
        if entry.chain(buffer) != Gst.FlowReturn.OK:
            raise RuntimeError("the jitter buffer takes no packet")
        collect(0)
    collect(NANO_SEC // 2)
    pipeline.set_state(Gst.State.NULL)
    return found


class LeastSquares:
    """ticks = rate * time + offset, one packet after the other, of all packets the same weight."""

    ALARM_TICKS = 60000 / 90000 * TICKS_PER_SEC
    SLACK_TICKS = 6600 / 90000 * TICKS_PER_SEC
    LARGEST_TICKS = 7000 / 90000 * TICKS_PER_SEC
    FREE = 1e10
    SILENCE_SEC = 10.0

    def __init__(self):
        self.last = None
        self.reset(0.0)

    def reset(self, time):
        self.start = time
        self.first = None
        self.rate, self.offset = TICKS_PER_SEC, 0.0
        # Covariance of both, rate by the millisecond.
        self.rates, self.both, self.offsets = 1.0, 0.0, self.FREE
        self.above = self.below = 0.0
        self.count = 0
        self.latest = -1

    def update(self, time, ticks):
        if self.last is not None and time - self.last > self.SILENCE_SEC:
            self.reset(time)
        self.last = time
        # Whole milliseconds, as the law has it.
        at = math.floor((time - self.start) * 1000.0)
        if self.first is None:
            self.first = ticks
            self.offset = -self.rate / 1000.0 * at
        error = ticks - self.first - self.rate / 1000.0 * at - self.offset
        if self.alarms(error) and self.count >= 2:
            self.offsets = self.FREE
        if ticks < self.latest:
            return
        self.latest = ticks
        self.count += 1
        to_rate = self.rates * at + self.both
        to_offset = self.both * at + self.offsets
        scale = 1.0 + at * to_rate + to_offset
        self.rate += to_rate / scale * error * 1000.0
        self.offset += to_offset / scale * error
        self.rates -= to_rate * to_rate / scale
        self.both -= to_rate * to_offset / scale
        self.offsets -= to_offset * to_offset / scale

    def alarms(self, error):
        error = max(-self.LARGEST_TICKS, min(self.LARGEST_TICKS, error))
        self.above = max(0.0, self.above + error - self.SLACK_TICKS)
        self.below = min(0.0, self.below + error + self.SLACK_TICKS)
        if self.above <= self.ALARM_TICKS and self.below >= -self.ALARM_TICKS:
            return False
        self.above = self.below = 0.0
        return True

    def time_of(self, ticks):
        return self.start + (ticks - self.first - self.offset) / self.rate


def webrtc(packets):
    law = LeastSquares()
    found = {}
    for packet in packets:
        # Far from the wrap of 32 bits.
        law.update(packet.arrival / NANO_SEC, packet.ticks)
        found[packet.number] = round(law.time_of(packet.ticks) * NANO_SEC)
    return found


def measure(packets, found):
    """(deviation, peak to peak, mean) of the settled error in ms, share that came after the lead."""
    errors = []
    late = 0
    changed = -AFTER_CHANGE_NANO_SEC
    for packet in packets:
        place = found.get(packet.number)
        # Of those that were sent before and come behind it, too.
        changed = max(changed, packet.change) if packet.change > 0 else changed
        if place is None:
            continue
        late += packet.arrival > place + LEAD_NANO_SEC
        if packet.truth >= SETTLED_NANO_SEC and packet.truth - changed >= AFTER_CHANGE_NANO_SEC:
            errors.append((place - packet.truth) * 1e-6)
    mean = sum(errors) / len(errors)
    deviation = math.sqrt(sum((error - mean) ** 2 for error in errors) / len(errors))
    return deviation, max(errors) - min(errors), abs(mean), late / len(packets)


def main():
    table = sys.argv[1]
    seconds = int(sys.argv[2]) if len(sys.argv) > 2 else 900
    seeds = int(sys.argv[3]) if len(sys.argv) > 3 else 2
    Gst.init(None)
    print(f"Worst of {len(SKEWS)} skews and {seeds} seeds, {seconds} s each; {Gst.version_string()}\n")
    print("| | | deviation ms | peak to peak ms | mean ms | late % |\n|---|---|---:|---:|---:|---:|")
    for severity in SEVERITIES:
        worst = {}
        for skew in SKEWS:
            for seed in range(1, seeds + 1):
                lines = subprocess.run([table, "--packets", severity, str(skew), str(seed), str(seconds)],
                                       stdout=subprocess.PIPE, text=True, check=True).stdout.splitlines()
                packets = [Packet(line) for line in lines]
                for peer in (ours, gstreamer, webrtc):
                    measured = measure(packets, peer(packets))
                    worst[peer.__name__] = [max(pair) for pair in zip(worst.get(peer.__name__, measured), measured)]
        for name, (deviation, span, mean, late) in worst.items():
            print(f"| {severity} | {name} | {deviation:.3f} | {span:.2f} | {mean:.2f} | {100 * late:.3f} |", flush=True)


main()
