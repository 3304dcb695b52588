"""Networks on the loopback. Relay: one way from one port of UDP to another, packets delayed, dropped and doubled by a
seeded plan; delays that differ put them out of order. Listener: what comes to a port, kept."""
import contextlib
import heapq
import os
import random
import select
import socket
import threading
import time


@contextlib.contextmanager
def preferred():
    """What the calling thread starts meanwhile goes before what only computes, as PreferSound of tools/setup/lib.sh has
    it; looking for the sound afterwards does not: it would hold up what others play."""
    policy, priority = os.sched_getscheduler(0), os.sched_getparam(0)
    with contextlib.suppress(OSError):
        os.sched_setscheduler(0, os.SCHED_RR, os.sched_param(5))
    try:
        yield
    finally:
        with contextlib.suppress(OSError):
            os.sched_setscheduler(0, policy, priority)


def stamp_of(packet):
    """RTP's timestamp."""
    return int.from_bytes(packet[4:8], "big")


class Receiver:
    """A port of UDP, and a thread that takes what comes to it."""

    def __init__(self):
        self.ends = threading.Event()
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))
        self.port = self.socket.getsockname()[1]
        self.thread = threading.Thread(target=self.run)
        with preferred():
            self.thread.start()

    def close(self):
        self.ends.set()
        self.thread.join()
        self.socket.close()


class Relay(Receiver):
    def __init__(self, to_port, seed, jitter_seconds=0.0, loss=0.0, doubled=0.0):
        self.to = ("127.0.0.1", to_port)
        self.plan = random.Random(seed)
        self.jitter_seconds, self.loss, self.doubled = jitter_seconds, loss, doubled
        self.dropped = 0
        # Of each packet that came: the instant, its timestamp.
        self.arrivals = []
        self.waiting = []
        super().__init__()

    def run(self):
        while not self.ends.is_set():
            left = max(0.0, self.waiting[0][0] - time.monotonic()) if self.waiting else 0.1
            if select.select([self.socket], [], [], min(left, 0.1))[0]:
                self.take(self.socket.recv(65536))
            while self.waiting and self.waiting[0][0] <= time.monotonic():
                self.socket.sendto(heapq.heappop(self.waiting)[2], self.to)

    def take(self, packet):
        self.arrivals.append((time.monotonic(), stamp_of(packet)))
        if self.plan.random() < self.loss:
            self.dropped += 1
            return
        for copy in range(2 if self.plan.random() < self.doubled else 1):
            due = time.monotonic() + self.plan.random() * self.jitter_seconds
            heapq.heappush(self.waiting, (due, 2 * len(self.arrivals) + copy, packet))


class Listener(Receiver):
    """Takes what is sent to a port as RTP, with the instant of each packet."""

    def __init__(self):
        self.packets = []
        super().__init__()

    def run(self):
        while not self.ends.is_set():
            if select.select([self.socket], [], [], 0.1)[0]:
                self.packets.append((time.monotonic(), self.socket.recv(65536)))

    def numbers(self):
        return [int.from_bytes(packet[2:4], "big") for _, packet in self.packets]

    def stamps(self):
        return [stamp_of(packet) for _, packet in self.packets]

    def payload(self):
        return b"".join(packet[12:] for _, packet in self.packets)

    def hand_on(self, port):
        """To another receiver, as fast as it came."""
        start = time.monotonic()
        for instant, packet in self.packets:
            time.sleep(max(0.0, start + instant - self.packets[0][0] - time.monotonic()))
            self.socket.sendto(packet, ("127.0.0.1", port))
