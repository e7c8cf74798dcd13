#!/usr/bin/python3
"""End-to-end test of the batch runner, the library's typical path.

Runs kxb-batch on the sample installation home against the sample
warehouse, with its mail delivered by msmtp to a real SMTP server
(examples/smtp-sink.py), and checks the delivered mail against an
independent computation: Python's decimal over the rows that the same SQL
script gives in Python's sqlite3. Then checks that each failure names its
step, exits non-zero and leaves nothing half written, and that a runner
killed at a random moment leaves every report whole or absent (25 kills;
1,000 with KXB_LONG_TESTS=1).

    batch_e2e.py KXB_BATCH SOURCE_DIR WAREHOUSE_DB
"""
import collections
import decimal
import email
import email.policy
import os
import random
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

decimal.getcontext().prec = 60

BATCH, SOURCE, WAREHOUSE = sys.argv[1:4]
HOME = os.path.join(SOURCE, "examples", "home")
SINK = os.path.join(SOURCE, "examples", "smtp-sink.py")
SQL = os.path.join(SOURCE, "examples", "data", "warehouse.sql")
failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAILED:", what)


def expected_groups():
    rows = sqlite3.connect(":memory:").execute(open(SQL).read()).fetchall()
    groups = collections.defaultdict(lambda: [0, decimal.Decimal(0), None, None])
    for _, region, _, amount, ordered, _ in rows:
        g = groups[region]
        g[0] += 1
        g[1] += decimal.Decimal(amount)
        g[2] = ordered if g[2] is None or ordered < g[2] else g[2]
        g[3] = ordered if g[3] is None or ordered > g[3] else g[3]
    return groups


def report_fields(text):
    fields = {}
    for line in text.splitlines():
        if ":" in line:
            name, _, value = line.partition(":")
            fields[name.strip()] = value.strip()
    return fields


def run(scratch, port, *extra):
    env = dict(os.environ, SMTP_PORT=str(port))
    env.pop("KAXEL_ERROR_LOCATION", None)
    args = [BATCH, "--home", HOME,
            "--set", "DATASOURCE/warehouse/PATH=" + WAREHOUSE,
            "--set", "BASE/TEMP=" + scratch,
            "--set", "BASE/LOGCONFIG_PATH=" + os.path.join(scratch, "log.cfg")]
    args += list(extra)
    return subprocess.run(args, env=env, capture_output=True, text=True,
                          timeout=120)


def main():
    with tempfile.TemporaryDirectory() as scratch:
        with open(os.path.join(scratch, "log.cfg"), "w") as out:
            out.write("level = 2\ndestination = file:%s/batch.log\n" % scratch)
        inbox = os.path.join(scratch, "inbox")
        port_file = os.path.join(scratch, "port")
        sink = subprocess.Popen(["/usr/bin/python3", SINK, inbox, port_file,
                                 "100"])
        try:
            for _ in range(200):
                if os.path.exists(port_file):
                    break
                time.sleep(0.05)
            port = int(open(port_file).read())
            reports = os.path.join(scratch, "reports")
            done = run(scratch, port, "--set", "JOB/OUTPUT=" + reports)
            check(done.returncode == 0,
                  "the job succeeds: %d %s" % (done.returncode, done.stderr))
            check_delivery(inbox, reports)
            log = open(os.path.join(scratch, "batch.log")).read()
            check("Read 4000 rows in 6 groups" in log, "progress is logged")
            check_failures(scratch, port)
            check_kills(scratch, port, reports)
        finally:
            sink.terminate()
            sink.wait(10)
    if failures:
        sys.exit("%d check(s) failed" % len(failures))
    print("batch end-to-end: all checks passed")


def check_delivery(inbox, reports):
    messages = sorted(os.listdir(inbox)) if os.path.isdir(inbox) else []
    check(len(messages) == 1, "one mail delivered, got %d" % len(messages))
    if not messages:
        return
    with open(os.path.join(inbox, messages[0]), "rb") as raw:
        mail = email.message_from_binary_file(raw, policy=email.policy.default)
    check(mail["To"] == "operations@example.org", "To: " + str(mail["To"]))
    check(mail["From"] == "kxb-batch@example.org", "From: " + str(mail["From"]))
    check(mail["Subject"] == "Orders by region", "Subject")
    expected = expected_groups()
    attachments = {}
    summary = None
    for part in mail.iter_parts():
        if part.get_filename():
            attachments[part.get_filename()] = part.get_content()
        else:
            summary = part.get_content()
    check(summary is not None and "4000 rows, 6 groups" in summary,
          "summary text: %r" % summary)
    check(len(attachments) == len(expected),
          "one attachment per group: %s" % sorted(attachments))
    seen = set()
    for name, content in attachments.items():
        text = content.decode("utf-8") if isinstance(content, bytes) else content
        fields = report_fields(text)
        group = text.splitlines()[0].split(" ", 3)[-1]
        seen.add(group)
        want = expected.get(group)
        check(want is not None, "report %s names a known group %r" % (name, group))
        if want is None:
            continue
        check(int(fields.get("Orders", -1)) == want[0],
              "%s count %s != %d" % (group, fields.get("Orders"), want[0]))
        check(decimal.Decimal(fields.get("Total amount", "NaN")) == want[1],
              "%s total %s != %s" % (group, fields.get("Total amount"), want[1]))
        check(fields.get("First order", "").replace("T", " ") == want[2],
              "%s first %s != %s" % (group, fields.get("First order"), want[2]))
        check(fields.get("Last order", "").replace("T", " ") == want[3],
              "%s last %s != %s" % (group, fields.get("Last order"), want[3]))
        on_disk = os.path.join(reports, name)
        check(os.path.exists(on_disk) and
              open(on_disk, "rb").read() == text.encode("utf-8"),
              "report on disk equals the attachment: " + name)
    check(seen == set(expected), "every group reported")


def check_failures(scratch, port):
    def fails(step, needle, *extra):
        out = os.path.join(scratch, "out-" + step)
        done = run(scratch, port, "--set", "JOB/OUTPUT=" + out, *extra)
        check(done.returncode != 0, step + ": exits non-zero")
        check(("kxb-batch: " + step + ":") in done.stderr and needle in done.stderr,
              "%s: names the step and %r: %s" % (step, needle, done.stderr))
        return out

    out = fails("settings", "DATASOURCE/nowhere/PATH",
                "--set", "JOB/SOURCE=kxd://nowhere.SQLITE/main/orders")
    check(not os.path.exists(out), "no report without a data source")
    out = fails("source", "no such table",
                "--set", "JOB/SOURCE=kxd://warehouse.SQLITE/main/nosuch")
    check(not os.path.exists(out), "no report without a table")
    missing = os.path.join(scratch, "missing.db")
    fails("source", "", "--set", "DATASOURCE/warehouse/PATH=" + missing)
    check(not os.path.exists(missing), "a missing database is not created")
    bad = os.path.join(scratch, "bad.tmpl")
    with open(bad, "w") as t:
        t.write("Orders\nof {group\n")
    out = fails("template", "line", "--set", "JOB/TEMPLATE=" + bad)
    check(not os.path.exists(out), "no report after a template error")
    out = fails("mail", "", "--set", "JOB/MAIL_COMMAND=/bin/false %T %B")
    written = sorted(os.listdir(out)) if os.path.isdir(out) else []
    check(len(written) == 6 and not any(n.startswith(".") for n in written),
          "a failed mail leaves the six whole reports and no temporary: %s"
          % written)


def check_kills(scratch, port, reports):
    whole = {name: open(os.path.join(reports, name), "rb").read()
             for name in os.listdir(reports)}
    kills = 1000 if os.environ.get("KXB_LONG_TESTS") == "1" else 25
    rng = random.Random(2026)
    out = os.path.join(scratch, "killed")
    torn = 0
    seen = 0
    env = dict(os.environ, SMTP_PORT=str(port))
    args = [BATCH, "--home", HOME,
            "--set", "DATASOURCE/warehouse/PATH=" + WAREHOUSE,
            "--set", "BASE/TEMP=" + scratch, "--set", "JOB/MAIL_TO=",
            "--set", "BASE/LOGCONFIG_PATH=" + os.path.join(scratch, "log.cfg"),
            "--set", "JOB/OUTPUT=" + out]
    # Kill moments spread over one whole run's time, writes included.
    started = time.monotonic()
    subprocess.run(args, env=env, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, timeout=120)
    span = time.monotonic() - started
    for _ in range(kills):
        # Each run starts with no report, so what is there after the kill
        # was written by that run.
        shutil.rmtree(out, ignore_errors=True)
        runner = subprocess.Popen(args, env=env, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL)
        time.sleep(rng.uniform(0, span))
        runner.send_signal(signal.SIGKILL)
        runner.wait()
        for name in os.listdir(out) if os.path.isdir(out) else []:
            if name.startswith("."):
                continue  # a killed writer's temporary file, never a report
            seen += 1
            if open(os.path.join(out, name), "rb").read() != whole.get(name):
                torn += 1
    check(torn == 0, "%d torn report(s) after %d kills" % (torn, kills))
    print("batch end-to-end: %d kills, %d reports written before them, %d torn"
          % (kills, seen, torn))


if __name__ == "__main__":
    main()
