#!/usr/bin/python3
"""A real SMTP server for the mail tests (aiosmtpd, Debian python3-aiosmtpd).

usage: smtp_sink.py DIRECTORY PORT_FILE SECONDS

Listens on a free port of 127.0.0.1 and writes the port number to PORT_FILE
once it accepts connections. Each message it accepts is stored as
DIRECTORY/<n>.eml, byte for byte as received, beside DIRECTORY/<n>.env (the
envelope sender, then one recipient a line). It stops when DIRECTORY/stop
appears or after SECONDS seconds, whichever comes first.
"""
import asyncio
import os
import sys

from aiosmtpd.smtp import SMTP


class Store:
    def __init__(self, directory):
        self.directory = directory
        self.count = 0

    async def handle_DATA(self, server, session, envelope):
        self.count += 1
        base = os.path.join(self.directory, str(self.count))
        content = envelope.original_content or envelope.content
        with open(base + ".env", "w", encoding="utf-8") as f:
            f.write(envelope.mail_from + "\n")
            for rcpt in envelope.rcpt_tos:
                f.write(rcpt + "\n")
        with open(base + ".part", "wb") as f:
            f.write(content)
        os.rename(base + ".part", base + ".eml")
        return "250 Message accepted"


async def serve(directory, port_file, seconds):
    loop = asyncio.get_running_loop()
    store = Store(directory)
    server = await loop.create_server(
        lambda: SMTP(store, hostname="kxb-test-server"), "127.0.0.1", 0)
    port = server.sockets[0].getsockname()[1]
    with open(port_file + ".part", "w") as f:
        f.write("%d\n" % port)
    os.rename(port_file + ".part", port_file)
    stop = os.path.join(directory, "stop")
    deadline = loop.time() + seconds
    while loop.time() < deadline and not os.path.exists(stop):
        await asyncio.sleep(0.05)
    server.close()
    await server.wait_closed()


def main():
    if len(sys.argv) != 4:
        sys.stderr.write(__doc__)
        return 2
    asyncio.run(serve(sys.argv[1], sys.argv[2], float(sys.argv[3])))
    return 0


if __name__ == "__main__":
    sys.exit(main())
