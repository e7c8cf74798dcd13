#!/usr/bin/python3
"""Parses one delivered mail with Python's email package, for the mail tests.

usage: mail_parse.py MESSAGE OUTPUT_DIRECTORY

Writes OUTPUT_DIRECTORY/summary.txt (UTF-8), one item a line:
    to: <To, decoded>
    from: <From, decoded>
    subject: <Subject, decoded>
    multipart: <1 or 0>
    defects: <names of the message's defects, comma-separated>
    part: <content type>|<charset or ->|<file name or ->|<transfer encoding>|<defects>
and the decoded content of part N (from 0) to OUTPUT_DIRECTORY/part<N>.bin.
"""
import email
import email.policy
import os
import sys


def defect_names(item):
    return ",".join(type(d).__name__ for d in item.defects)


def main():
    if len(sys.argv) != 3:
        sys.stderr.write(__doc__)
        return 2
    with open(sys.argv[1], "rb") as f:
        message = email.message_from_binary_file(f, policy=email.policy.default)
    out = sys.argv[2]
    lines = [
        "to: %s" % message["To"],
        "from: %s" % message["From"],
        "subject: %s" % message["Subject"],
        "multipart: %d" % (1 if message.is_multipart() else 0),
        "defects: %s" % defect_names(message),
    ]
    parts = message.iter_parts() if message.is_multipart() else []
    for index, part in enumerate(parts):
        lines.append("part: %s|%s|%s|%s|%s" % (
            part.get_content_type(), part.get_content_charset() or "-",
            part.get_filename() or "-",
            part.get("Content-Transfer-Encoding", "-"), defect_names(part)))
        payload = part.get_payload(decode=True) or b""
        with open(os.path.join(out, "part%d.bin" % index), "wb") as f:
            f.write(payload)
    with open(os.path.join(out, "summary.txt"), "w", encoding="utf-8") as f:
        f.write("\n".join(lines) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
