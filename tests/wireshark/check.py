"""Holds what tshark shows of a capture against the JSON lines of the same records.

    check.py CAPTURE DISSECTOR JSON-LINES WORK-FOLDER
"""

import json
import math
import random
import subprocess
import sys

SECRETS = {"password", "pairingKey", "pin", "keys"}
UNSENT = {"local", "serverIp"}  # which no frame carries
SETS = {"packageNameSet", "names", "sets"}
PIECES = {"noise", "torn", "short", "long", "fault"}
PORT = "4711"

# Lets the dissector be loaded without Wireshark: whatever it asks for is there, and does nothing.
PRETENDED_WIRESHARK = """
  local any = {}
  local function give() return any end
  setmetatable(any, { __index = give, __call = give, __newindex = function() end })
  setmetatable(_G, { __index = give })
"""


def fail(text):
    sys.exit("check.py: " + text)


def run(*command, stdin=None):
    done = subprocess.run(command, input=stdin, capture_output=True, text=True)
    if done.returncode != 0 or "Lua" in done.stderr:
        fail(f"{command}: {done.stderr}")
    return done.stdout


def entries(pairs):
    """All leaves of a tree as tshark prints it; one key may stand there many times."""
    for key, value in pairs:
        if isinstance(value, list):
            yield from entries(value)
        else:
            yield key, value


def gathered(pairs):
    names = {}
    for key, value in pairs:
        names.setdefault(key, []).append(value)
    return names


def dissections(capture, dissector, *options):
    """Of each dissected frame, the values by name."""
    command = ["tshark", "-r", capture, "-X", "lua_script:" + dissector, "-T", "json", *options]
    found = []
    for packet in json.loads(run(*command), object_pairs_hook=lambda pairs: pairs):
        layers = dict(dict(packet)["_source"])["layers"]
        frame = gathered(entries(layers))
        if frame.get("frame.packet_flags_wrong_inter_frame_gap_error") == ["1"]:
            continue  # the record goes on in the next packet
        found += [gathered(entries(value)) for key, value in layers if key == "varno"]
    return found


def prefix(record):
    return "varno." + record["type"].removesuffix("Packet") + "."


def expected_values(record):
    """The fields of a JSON line by the names that the dissector has for them."""
    names = {}

    def add(name, value):
        if isinstance(value, dict):
            for key, part in value.items():
                add(name + "." + key, part)
        elif isinstance(value, list):
            for part in value:
                add(name, part)
        elif value is not None:
            names.setdefault(name, []).append(value)

    for key, value in record["fields"].items():
        if key not in UNSENT:
            add(prefix(record) + key, value)
    return names


def is_same(shown, value):
    if isinstance(value, bool):
        return shown in (str(int(value)), str(value))
    if isinstance(value, str):
        is_nan = value.startswith(("nan", "-nan")) and shown in ("nan", "-nan")
        return is_nan or shown == value.replace("\0", "\u2400")
    # tshark shows six digits of a float, the library as few as read back the same: of the smallest
    # floats, one. JSON has no mark for one that is whole.
    if isinstance(value, int) and shown.lstrip("-").isdigit():
        return int(shown) == value
    return math.isclose(float(shown), value, rel_tol=1e-5, abs_tol=1e-45)


def compare_values(shown, record):
    expected = expected_values(record)
    seen = {name: values for name, values in shown.items() if name.startswith(prefix(record))}
    if seen.keys() != expected.keys():
        fail(f"{record}: shown are {sorted(seen)}, not {sorted(expected)}")
    for name, values in expected.items():
        found = seen[name]
        if name.rpartition(".")[2] in SETS:  # which may come in any order, and one text twice
            found = sorted(set(found))
            values = sorted({value.replace("\0", "\u2400") for value in values})
        if len(found) != len(values) or not all(map(is_same, found, values)):
            fail(f"{record}: {name} is shown as {found}")
    return len(expected)


def compare_problems(texts, record):
    # The library names the part of the frame where the sentence does not.
    def is_told(problem, text):
        return problem == text or problem.endswith(": " + text)

    problems = record.get("problems", [])
    unknown = [text for text in texts if not any(is_told(problem, text) for problem in problems)]
    untold = [problem for problem in problems if not any(is_told(problem, text) for text in texts)]
    if unknown or untold:
        fail(f"{record}: not told are {untold}, and told beside them {unknown}")
    return len(problems)


def check_capture(capture, dissector, records):
    shown = dissections(capture, dissector, "-o", "varno.show_secrets:TRUE")
    if len(shown) != len(records):
        fail(f"{len(records)} records are shown as {len(shown)}")
    values = problems = 0
    for found, record in zip(shown, records):
        pieces = [piece for piece in PIECES if "varno.expert." + piece in found]
        if pieces != [piece for piece in PIECES if piece == record["kind"]]:
            fail(f"{record} is shown as {pieces}")
        if found["varno.direction"] != [record["direction"]]:
            fail(f"{record} is shown with {found['varno.direction']}")
        if record["kind"] == "frame":
            problems += compare_problems(found.get("_ws.expert.message", []), record)
        if "fields" in record:
            values += compare_values(found, record)
    print(f"ok: {len(records)} records, {values} values, {problems} problems")


def check_secrets(capture, dissector, records):
    hidden = 0
    for found, record in zip(dissections(capture, dissector), records):
        if "fields" in record:
            names = list(record["fields"])
            secret = [name in SECRETS for name in names]
            if "problems" in record and any(secret):  # what follows may be a part of the secret
                del names[secret.index(True) :]
            clear = {name: record["fields"][name] for name in names if name not in SECRETS}
            visible = set(expected_values({**record, "fields": clear}))
            shown = {name for name in found if name.startswith(prefix(record))}
            if shown != visible:
                fail(f"{record}: with hidden secrets, {sorted(shown)} are shown")
        hidden += len(found.get("varno.secret", []))
        if set(found.get("varno.secret", [])) - {"***"}:
            fail(f"{record}: {found['varno.secret']}")
    if hidden == 0:
        fail("no secret is hidden")
    lines = run("tshark", "-r", capture, "-X", "lua_script:" + dissector)
    if "password=***" not in lines or "pairingKey=***" not in lines:
        fail("the info column does not hide secrets")
    print(f"ok: {hidden} hidden values")


def check_stream(dissector, records, work):
    """Sound frames over TCP, in segments of any size, with other pieces between some of them."""
    others = {"noise": b"noise", "torn": b"\2\x7d\x7f\x0f", "short": b"\2AB\3"}
    chance = random.Random(1)
    sound = [record for record in records if "fields" in record and "problems" not in record]
    stream, expected = b"", []
    for record in sound:
        if chance.random() < 0.1:
            piece = chance.choice(list(others))
            stream += others[piece]
            expected.append(piece)
        stream += bytes.fromhex(record["frame"])
        expected.append(record)
    dump, at = "", 0
    while at < len(stream):
        size = chance.choice([1, 7, 40, 200, 1400])
        part = stream[at : at + size]
        for row in range(0, len(part), 16):
            dump += f"{row:06x} {part[row : row + 16].hex(' ')}\n"
        at += len(part)
    capture = work + "/tcp.pcap"
    run("text2pcap", "-q", "-T", "50000," + PORT, "-", capture, stdin=dump)

    shown = dissections(capture, dissector, "-d", f"tcp.port=={PORT},varno",
                        "-o", "varno.show_secrets:TRUE")
    # Noise at the end of a segment is shown before the rest of it has come.
    shown = [found for at, found in enumerate(shown)
             if "varno.expert.noise" not in found
             or at + 1 == len(shown) or "varno.expert.noise" not in shown[at + 1]]
    if len(shown) != len(expected):
        fail(f"{len(expected)} pieces of a stream are shown as {len(shown)}")
    for found, record in zip(shown, expected):
        if isinstance(record, str):
            if "varno.expert." + record not in found:
                fail(f"{record} is shown as {found}")
        else:
            from_display = record["frame"].startswith("027D7E")
            if found["varno.direction"] != ["<" if from_display else ">"]:
                fail(f"{record} is shown with {found['varno.direction']}")
            compare_problems(found.get("_ws.expert.message", []), record)
            compare_values(found, record)
    print(f"ok: {len(expected)} pieces of a stream over TCP")


def check_plain(dissector, records, work):
    """The part that reads, in each Lua that Wireshark may have."""
    program = work + "/plain.lua"
    with open(dissector, encoding="utf-8") as file:
        reading = file.read().partition("-- Showing: ")[0]
    with open(sys.path[0] + "/plain.lua", encoding="utf-8") as file:
        driver = file.read()
    with open(program, "w", encoding="utf-8") as file:
        file.write(reading + driver)
    frames = [record for record in records if record["kind"] == "frame"]
    lines = "".join(record["frame"] + "\n" for record in frames)
    for lua in ("lua5.2", "lua5.4"):
        told = run(lua, program, stdin=lines).split("\n")
        for record, line in zip(frames, told[:-1], strict=True):
            compare_problems(line.split("\t") if line else [], record)
        run(lua, "-e", PRETENDED_WIRESHARK, dissector)
        print(f"ok: {lua}")


def main():
    capture, dissector, lines, work = sys.argv[1:]
    with open(lines, encoding="utf-8") as file:
        records = [json.loads(line) for line in file]
    shown = [record for record in records if "frame" in record or "bytes" in record]
    check_capture(capture, dissector, shown)
    check_secrets(capture, dissector, shown)
    check_stream(dissector, shown, work)
    check_plain(dissector, shown, work)


main()
