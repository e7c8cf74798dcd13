#!/usr/bin/python3
"""A real SMTP server on 127.0.0.1 that keeps what it receives.

Used by the demo and the end-to-end test: the batch runner's mail goes
through msmtp to this server, which saves every message it accepts, as
received, to DIR/<n>.eml.

    smtp-sink.py DIR PORTFILE [SECONDS]

It listens on a free port, writes the port number to PORTFILE once it
accepts connections, and stops after SECONDS (default 120) or on SIGTERM.
Needs python3-aiosmtpd (Debian), which is installed for /usr/bin/python3.
"""
import os
import signal
import socket
import sys
import threading

from aiosmtpd.controller import Controller


class Keeper:
    def __init__(self, directory):
        self.directory = directory
        self.count = 0
        self.lock = threading.Lock()

    async def handle_DATA(self, server, session, envelope):
        with self.lock:
            self.count += 1
            path = os.path.join(self.directory, "%d.eml" % self.count)
        with open(path + ".part", "wb") as out:
            out.write(envelope.original_content or envelope.content)
        os.rename(path + ".part", path)
        return "250 OK"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    directory, port_file = sys.argv[1], sys.argv[2]
    seconds = float(sys.argv[3]) if len(sys.argv) > 3 else 120.0
    os.makedirs(directory, exist_ok=True)
    controller = Controller(Keeper(directory), hostname="127.0.0.1",
                            port=free_port())
    controller.start()
    with open(port_file + ".part", "w") as out:
        out.write("%d\n" % controller.port)
    os.rename(port_file + ".part", port_file)
    stop = threading.Event()
    signal.signal(signal.SIGTERM, lambda *_: stop.set())
    signal.signal(signal.SIGINT, lambda *_: stop.set())
    stop.wait(seconds)
    controller.stop()


if __name__ == "__main__":
    main()
