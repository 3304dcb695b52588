"""What the cases of check-live play on: a folder with a sound in it, servers and senders, audiohost under Wine with a
recorder of what it plays, and where of the sound a recording has which part."""
import audioop
import contextlib
import json
import math
import os
import pathlib
import random
import select
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

from relay import preferred

HERE = pathlib.Path(__file__).resolve().parent
CHECKOUT = HERE.parent.parent
HEARD_HZ, SOURCE_HZ = 48000, 8000
SOURCE_SECONDS = 24
# Parts of what was heard that are looked for in the source; where two neighbours may lie apart by: a codec's and the
# drift control's doing.
PART_SAMPLES, OFF_SAMPLES = SOURCE_HZ // 10, SOURCE_HZ // 100
# A part is looked for so far around where the one before was, and elsewhere when it is not like what is there.
NEAR_SAMPLES = SOURCE_HZ // 2
LEAST_LIKENESS = 0.5
# Fainter than this is no sound.
LEAST_LEVEL = 300
TRANSPORT_STREAM = ("-c:a", "mp2", "-b:a", "128k", "-f", "mpegts", "-pes_payload_size", "0")
PLAY_SECONDS = 8
HANG_SECONDS = 90
# Below those that senders get for themselves, which may take a port before its receiver does.
PORTS = list(range(16000, 32000, 2))

# A thread that only sleeps and comes back later than this was held up by the machine, and so were the others.
NAP_SECONDS, STALL_SECONDS = 0.01, 0.08
# It is back within 13 ms while the machine does little else; wherever the output stood still it took 21 ms and more.
LATE_SECONDS = 0.02
# Less than half of what audiohost, and what answers it, wait for each other: nothing shorter breaks that.
ANSWER_SECONDS = 1.0
# No stall tells a password.
NEVER = math.inf
# What audiohost ends with where nobody has answered in time: an output, a microphone, a stream.
UNANSWERED_CODES = {6, 7, 11}


class Failure(SystemExit):
    """Of a case. Only a machine that stood still for as long may have caused it."""

    def __init__(self, sentence, excuse_seconds):
        super().__init__(f"check-live: {sentence}")
        self.excuse_seconds = excuse_seconds


def require(holds, sentence, excuse_seconds=STALL_SECONDS):
    if not holds:
        raise Failure(sentence, excuse_seconds)


def wait_until(holds, sentence):
    deadline = time.monotonic() + HANG_SECONDS
    while not holds():
        require(time.monotonic() < deadline, sentence)
        time.sleep(0.02)


def free_port():
    """An even one, as RTP wants, with the next one free, too; another each time."""
    while True:
        port = random.choice(PORTS)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as one, socket.socket(
                socket.AF_INET, socket.SOCK_DGRAM) as two, socket.socket() as three, contextlib.suppress(OSError):
            one.bind(("127.0.0.1", port))
            two.bind(("127.0.0.1", port + 1))
            three.bind(("127.0.0.1", port))
            PORTS.remove(port)
            return port


def is_bound(port, protocol="udp"):
    """True when somebody takes what comes to the port."""
    waits = {"udp": "07", "tcp": "0A"}[protocol]
    sockets = [line.split() for line in pathlib.Path(f"/proc/net/{protocol}").read_text().splitlines()[1:]]
    return any(socket[1].endswith(f":{port:04X}") and socket[3] == waits for socket in sockets)


def likeness(part, piece):
    """Share of the part's amplitude that the piece of the same length explains."""
    factor = audioop.findfactor(part, piece)
    rest = audioop.rms(audioop.add(part, audioop.mul(piece, 2, -factor), 2), 2)
    return 1.0 - rest / audioop.rms(part, 2)


def find_parts(heard, source):
    """Of each part that sounds: where in what was heard, and where in the source it is, in source samples."""
    found = []
    for start in range(0, len(heard) // 2 - PART_SAMPLES, 2 * PART_SAMPLES):
        part = heard[2 * start:2 * (start + PART_SAMPLES)]
        if audioop.rms(part, 2) <= LEAST_LEVEL:
            continue
        if found:
            near = max(0, found[-1][1] + start - found[-1][0] - NEAR_SAMPLES)
            window = source[2 * near:2 * (near + 2 * NEAR_SAMPLES + PART_SAMPLES)]
            if len(window) > len(part):
                place = audioop.findfit(window, part)[0]
                if likeness(part, window[2 * place:2 * place + len(part)]) >= LEAST_LIKENESS:
                    found.append((start, near + place))
                    continue
        found.append((start, audioop.findfit(source, part)[0]))
    return found


def require_in_place(found, share=0.95, least_seconds=PLAY_SECONDS - 2):
    """Nearly all parts lie as far behind each other as they were sent."""
    require(len(found) * 2 * PART_SAMPLES >= least_seconds * SOURCE_HZ, f"only {len(found)} parts were heard")
    offsets = [place - start for start, place in found]
    middle = statistics.median(offsets)
    fits = sum(abs(offset - middle) <= OFF_SAMPLES for offset in offsets)
    require(fits >= share * len(offsets), f"{fits} of {len(offsets)} parts are in place: {offsets}")


def make_source(seed, loudness):
    """Noise is nowhere like itself: what is found is what was sent."""
    return audioop.mul(random.Random(seed).randbytes(2 * SOURCE_HZ * SOURCE_SECONDS), 2, loudness)


def taken_seconds():
    """Of each processor since the start, what the hypervisor took. A thread that sleeps hardly sees it: it was never 0.14 s
    late while a third of two minutes was gone."""
    # After "cpu": user, nice, system, idle, iowait, irq, softirq, steal.
    return int(pathlib.Path("/proc/stat").read_text().split()[8]) / os.sysconf("SC_CLK_TCK") / os.cpu_count()


class Witness:
    """Notices when the machine stands still."""

    def __init__(self):
        self.worst_seconds = 0.0
        self.ends = threading.Event()
        self.thread = threading.Thread(target=self.run)
        with preferred():
            self.thread.start()

    def run(self):
        last = time.monotonic()
        while not self.ends.wait(NAP_SECONDS):
            now = time.monotonic()
            self.worst_seconds = max(self.worst_seconds, now - last)
            last = now

    def end(self):
        self.ends.set()
        self.thread.join()


class Stage:
    """A folder with the source in it, and whatever was started, ended with the stage."""

    def __init__(self, stack):
        self.stack = stack
        self.hosts = []
        self.folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        self.source = make_source(11, 0.18)
        sound = self.write_sound("sound", self.source)
        subprocess.run(["ffmpeg", "-v", "error", "-i", sound, "-c:a", "aac", "-b:a", "96k", self.folder / "sound.aac"],
                       check=True)

    def write_sound(self, name, source):
        raw, sound = self.folder / f"{name}.raw", self.folder / f"{name}.wav"
        raw.write_bytes(source)
        subprocess.run(["ffmpeg", "-v", "error", "-f", "s16le", "-ar", str(SOURCE_HZ), "-ac", "1", "-i", raw,
                        "-ar", str(HEARD_HZ), sound], check=True)
        return sound

    def start(self, command, **options):
        with preferred():
            process = subprocess.Popen([str(word) for word in command], **options)
        self.stack.callback(lambda: (process.kill(), process.wait()))
        return process

    def serve(self, port, *words):
        server = self.start([HERE / "rtspserver", port, self.folder, *words], stdout=subprocess.PIPE, text=True)
        require(server.stdout.readline() == "ready\n", "the server does not answer")
        return server

    def send(self, *words, sound="sound.wav", pace=("-re",)):
        # Read 20 ms at a time, and so sent; by itself it is twice that.
        return self.start(["ffmpeg", "-v", "error", *pace, "-max_size", str(HEARD_HZ // 50 * 2), "-i",
                           self.folder / sound, *words],
                          stdin=subprocess.DEVNULL)

    def send_rtp(self, to_port, sdp_port, sound="sound.wav", pace=("-re",)):
        """G.711; the sender, and what describes it as if it sent to another port."""
        sdp = (self.folder / sound).with_suffix(".sdp")
        sdp.unlink(missing_ok=True)
        sender = self.send("-ar", "8000", "-c:a", "pcm_mulaw", "-f", "rtp", "-sdp_file", sdp,
                           f"rtp://127.0.0.1:{to_port}?pkt_size=172", sound=sound, pace=pace)
        wait_until(lambda: sender.poll() is None and sdp.exists() and f"m=audio {to_port}" in sdp.read_text(),
                   "nothing is sent")
        sdp.write_text(sdp.read_text().replace(f"m=audio {to_port}", f"m=audio {sdp_port}"))
        return sender, sdp

    def ask_witnesses(self):
        """For how many seconds the thread overslept, and for how many audiohost says that its output stood still."""
        return (max((host.witness.worst_seconds for host in self.hosts), default=0.0),
                max((host.tell_of_output() for host in self.hosts), default=0.0))

    def speak(self):
        """The microphone hears the source, from now on."""
        self.start(["pacat", "--raw", "--format=s16le", f"--rate={SOURCE_HZ}", "--channels=1", "--latency-msec=100",
                    "-d", "mic", self.folder / "sound.raw"])

    def play(self, *words, seconds=PLAY_SECONDS):
        return Host(self, ["play", "--json", "--fail-on", "nothing", *words, "--seconds", seconds], seconds)

    def fail(self, code, sentence, *words):
        """The program ends with the code, says the sentence, and never the password."""
        start = time.monotonic()
        host = Host(self, [*words, "--seconds", 3])
        host.wait()
        said = "\n".join(text for _, text in host.lines)
        logged = host.log_path.read_text() if host.log_path.exists() else ""
        require("secret" not in said + host.printed + logged, f"the password is told: {said} {logged}", NEVER)
        require(host.code == code and sentence in said,
                f"{words} ended with {host.code} instead of {code} and '{sentence}': {said}",
                ANSWER_SECONDS if {code, host.code} <= UNANSWERED_CODES else NEVER)
        require(time.monotonic() - start < HANG_SECONDS, f"{words} took {time.monotonic() - start} s", ANSWER_SECONDS)


class Host:
    """audiohost, and a recorder of what it plays."""

    def __init__(self, stage, words, seconds=0):
        stage.hosts.append(self)
        self.hang_seconds = seconds + HANG_SECONDS
        self.witness = Witness()
        stage.stack.callback(self.witness.end)
        self.heard_path = stage.folder / "heard.raw"
        self.log_path = stage.folder / "log.txt"
        self.recorder = stage.start(["parec", "--raw", "--format=s16le", f"--rate={HEARD_HZ}", "--channels=1",
                                     "--latency-msec=20", "-d", "out.monitor", self.heard_path])
        self.process = stage.start([CHECKOUT / "tools/setup/wine-run", CHECKOUT / "build/windows/bin/audiohost.exe",
                                    *words, "--log", self.log_path],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        # With the instant of each.
        self.lines = []
        self.printed = ""
        self.threads = [threading.Thread(target=self.read_lines), threading.Thread(target=self.read_object)]
        with preferred():
            for thread in self.threads:
                thread.start()
        stage.stack.push(self.tell)

    def tell(self, kind, *_):
        """What went on, for who looks for the cause of a failure."""
        if kind is not None:
            log = self.log_path.read_text() if self.log_path.exists() else ""
            sys.stderr.write(log + "\n".join(line for _, line in self.lines) + self.printed)

    def tell_of_output(self):
        """For how long it stood still, by a silent sound of audiohost's own; 0 when it is not known to."""
        # What ended early tells of no output.
        with contextlib.suppress(ValueError, KeyError, TypeError):
            output = json.loads(self.printed)["output"]
            return output["worstMilliSec"] / 1000 if output["glitches"] > 0 else 0.0
        return 0.0

    def read(self, pipe):
        """What audiohost writes until it ends. Wine's desktop, which it may have started, has the pipe open for longer."""
        while True:
            has_ended = self.process.poll() is not None
            if select.select([pipe], [], [], NAP_SECONDS)[0]:
                written = os.read(pipe.fileno(), 65536)
                if not written:
                    return
                yield written
            elif has_ended:
                return

    def read_lines(self):
        begun = b""
        for written in self.read(self.process.stderr):
            *lines, begun = (begun + written).split(b"\n")
            self.lines += [(time.monotonic(), line.decode().rstrip()) for line in lines]
        self.lines.append((time.monotonic(), begun.decode().rstrip()))

    def read_object(self):
        self.printed = b"".join(self.read(self.process.stdout)).decode()

    def wait_for_line(self, text, since=0.0):
        deadline = time.monotonic() + HANG_SECONDS
        while time.monotonic() < deadline and self.process.poll() is None:
            for instant, line in list(self.lines):
                if instant >= since and text in line:
                    return instant
            time.sleep(0.02)
        raise Failure(f"it never said '{text}': {self.lines}", STALL_SECONDS)

    def go_on(self, seconds):
        """Waits while it plays."""
        with contextlib.suppress(subprocess.TimeoutExpired):
            code = self.process.wait(seconds)
            raise Failure(f"audiohost ended with {code}: {self.lines}", ANSWER_SECONDS)

    def wait(self):
        self.code = self.process.wait(self.hang_seconds)
        for thread in self.threads:
            thread.join()
        # What looks for the sound lets no other thread run.
        self.witness.end()
        time.sleep(0.5)
        # Of the recording, to a piece that the recorder still has.
        self.heard_since = time.monotonic() - self.heard_path.stat().st_size / (2 * HEARD_HZ)
        self.recorder.terminate()
        self.recorder.wait()

    def require_ended_with(self, code):
        require(self.code == code, f"audiohost ended with {self.code}: {self.lines} {self.printed}",
                ANSWER_SECONDS if self.code in UNANSWERED_CODES else NEVER)

    def result(self):
        """Of what it played."""
        self.wait()
        self.require_ended_with(0)
        return json.loads(self.printed)["sessions"]

    def heard(self):
        return audioop.ratecv(self.heard_path.read_bytes(), 2, 1, HEARD_HZ, SOURCE_HZ, None)[0]

    def find_in(self, source):
        return find_parts(self.heard(), source)
