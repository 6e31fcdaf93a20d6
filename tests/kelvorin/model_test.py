"""Random import jobs against an independent model of what an import does.

The model is naive on purpose: it reads the job as plain data, parses, converts, assigns and counts record by record,
and shares no code with the product. Rows, counts, first cases and refused values must agree.

Run by ctest as: model_test.py KELVORIN BATCH_HOST; KELVORIN_MODEL_JOBS sets the number of jobs (60), KELVORIN_MODEL_SEED
the first seed.
"""

import datetime
import json
import os
import pathlib
import random
import re
import shutil
import sys
import tempfile
from decimal import ROUND_HALF_UP, Decimal

import road
from road import ENVIRONMENT, KELVORIN, NO_ODBC, dump, rows_of

BATCH_HOST = sys.argv[2]
JOBS = int(os.environ.get("KELVORIN_MODEL_JOBS", "60"))
SEED = int(os.environ.get("KELVORIN_MODEL_SEED", "1"))
FOLDER = pathlib.Path(tempfile.mkdtemp(prefix="kelvorin-model-"))
ENVIRONMENT.update(ODBCINI=str(FOLDER / "odbc.ini"), ODBCSYSINI=str(FOLDER))


class Refused(Exception):
    """The value costs its record."""


def run(*words):
    done = road.run(*words, check=None)
    if done.returncode not in (0, 1, 3):
        raise AssertionError(f"{words}: {done}")
    return done.stdout


# --- The model

def number_of(text, fraction):
    text = text.strip()
    if not re.fullmatch(r"[-+]?(\d+\.?\d*|\.\d+)", text):
        raise Refused
    value = Decimal(text)
    if not fraction and value != value.to_integral_value():
        raise Refused
    return value


def plain(value):
    text = f"{value:f}"
    if "." in text:
        text = text.rstrip("0").rstrip(".")
    return "0" if text in ("-0", "") else text


def keep_places(value, places, decimals):
    """A number in so many places, sign and point counted: what is kept."""
    kept = value.quantize(Decimal(1).scaleb(-decimals), ROUND_HALF_UP)
    if decimals == 0 and kept != value or kept == 0 and value != 0:
        raise Refused
    shown = f"{kept:f}"
    if len(shown) > places and not (decimals and len(shown) == places + 1 and shown.lstrip("-").startswith("0.")):
        raise Refused
    return plain(kept), kept != value


def date_of(text):
    text = text.strip()
    for form in ("%Y-%m-%d", "%Y-%m-%d %H:%M:%S", "%H:%M"):
        try:
            value = datetime.datetime.strptime(text, form)
        except ValueError:
            continue
        timed = form == "%H:%M"
        return (value.replace(year=1899, month=12, day=30) if timed else value), timed
    raise Refused


def keep(kind, field, text):
    """What a field of a kind of table keeps of a text, as it is dumped, whether that is something else, and whether
    characters were replaced. An empty text that is no text is Null."""
    type_, size = field["type"], field["size"]
    xbase = kind.startswith(("DBase", "FOXPRO"))
    if type_ in ("Text", "Memo"):
        lost = text.count("ř") + text.count("Ř") if xbase else 0
        return (text.replace("ř", "r").replace("Ř", "R") if xbase else text), lost > 0, lost
    if not text.strip():
        return ("False", True, 0) if type_ == "Boolean" and kind == "Access" else ("", False, 0)
    if type_ == "Boolean":
        word = text.strip().lower()
        if word in ("yes", "true", "no", "false"):
            return ("True" if word in ("yes", "true") else "False"), False, 0
        value = number_of(text, True)
        return ("True" if value else "False"), value not in (0, 1, -1), 0
    if type_ == "Date":
        value, timed = date_of(text)
        if kind.startswith("DBase") or kind == "FOXPRO26":
            if timed:
                raise Refused
            return value.strftime("%Y-%m-%d"), value.time() != datetime.time(), 0
        day = value.strftime("%Y-%m-%d")
        return (day if value.time() == datetime.time() else value.strftime("%Y-%m-%d %H:%M:%S")), False, 0
    value = number_of(text, type_ == "Double")
    binary = kind in ("Access", "SQLite") or kind == "FOXPRO30"
    if type_ == "Long" and binary:
        bits = 63 if kind == "SQLite" else 31  # a server's INTEGER has the room of the server
        if not -2**bits <= value < 2**bits:
            raise Refused
        return plain(value), False, 0
    if binary:
        return plain(value), False, 0
    places = 19 if kind == "DBase3" else 20
    kept, changed = keep_places(value, 11, 0) if type_ == "Long" else keep_places(value, places, 5)
    return kept, changed, 0


def shown(kind, field, dumped):
    """A stored value as text, to append to."""
    return dumped[11:] if field["type"] == "Date" and dumped.startswith("1899-12-30 ") else dumped


def model(job):
    """Rows, counts and refused values of a job."""
    kind, fields, setting = job["kind"], job["fields"], job["setting"]
    rows = [] if setting["EmptyTarget"] else [list(row) for row in job["held"]]
    result = dict(read=0, imported=0, rejected=0, skipped=0, truncated_values=0, replaced_characters=0,
                  changed_values=0, left_out_values=0, stopped=False, first=None, fatal=False)
    refused = []
    start, lines = setting["StartingLine"], job["lines"]
    known = None
    for number, line in enumerate(lines, 1):
        if line and number >= start - 1:
            known = max(known or 0, len(line))
            if number >= start:
                break
    absent = {i for i, source in enumerate(job["map"]) if source is not None and known is not None and source >= known}
    mapped = [i for i, source in enumerate(job["map"]) if source is not None]
    if setting["EmptyTarget"] and not setting["AppendRecords"] and not setting["AppendIfEof"] or set(mapped) == absent:
        return [list(row) for row in job["held"]], {**result, "fatal": True}, refused
    if kind == "SQLite":
        mapped = [i for i in mapped if i not in absent]
    at, errors, processed, posted, asked = 0, 0, 0, 0, 0
    appending = setting["AppendRecords"]
    for number, line in enumerate(lines, 1):
        if not appending and at >= len(rows):
            if not setting["AppendIfEof"]:
                break
            appending = True
        if result["stopped"] or not line or number < start:
            if result["stopped"]:
                break
            continue
        result["read"] += 1
        current = None if appending else rows[at]
        new = {}
        counts = dict(truncated_values=0, replaced_characters=0, changed_values=0)
        first, failed = None, False
        for i in mapped:
            field, source = fields[i], job["map"][i]
            if i in absent and source >= len(line):
                continue
            read = line[source] if source < len(line) else ""
            exactly = field["type"] in ("Text", "Memo")
            null = setting["NullText"] and (read == setting["NullText"] if exactly else
                                            read.strip() == setting["NullText"].strip())
            value = "" if null else read
            value = value.lower() if setting["Lower"] else value.upper() if setting["Upper"] else value
            if job["handler"] and field["name"] == "COUNTRY" and not setting["AppendFields"] and value == "GB":
                value = "UK"
            if setting["AppendFields"] and current is not None and not setting["AppendRecords"]:
                value = shown(kind, field, current[i]) + value
                if job["handler"] and field["name"] == "COUNTRY" and value == "GB":
                    value = "UK"
            was, cut = value, False
            if field["type"] == "Text" and len(value) > field["size"]:
                value, cut = value[:field["size"]], True
            try:
                kept, changed, lost = keep(kind, field, value)
                changed = changed or cut
                if changed and setting["ExactValues"]:
                    raise Refused
            except Refused:
                refused.append([str(number), field["name"], was])
                failed = True
                break
            counts["truncated_values"] += cut
            counts["replaced_characters"] += lost
            counts["changed_values"] += changed
            if changed and first is None:
                is_ = shown(kind, field, kept)
                first = dict(line=number, field=field["name"], was=was, **{"is": is_})
            new[i] = kept.rstrip(" ") if kind not in ("Access", "SQLite") else kept
        processed += 1
        asked += 1
        if failed:
            errors += 1
            result["rejected"] += 1
            result["stopped"] = setting["LimitErrors"] and errors >= setting["nErrorStop"]
            if result["stopped"] and job["handler"]:
                asked -= 1
        elif job["handler"] and asked == 3:
            result["skipped"] += 1
        else:
            if appending:
                blank = ["False" if field["type"] == "Boolean" and kind == "Access" else "" for field in fields]
                rows.append([new.get(i, blank[i]) for i in range(len(fields))])
            else:
                rows[at] = [new.get(i, current[i]) for i in range(len(fields))]
                at += 1
            result["imported"] += 1
            posted += 1
            for key, count in counts.items():
                result[key] += count
            if result["first"] is None:
                result["first"] = first
            if known is not None:
                result["left_out_values"] += sum(1 for i in range(known, len(line)) if line[i] and i not in [job["map"][m] for m in mapped])
            if job["handler"] and posted == 6:
                result["stopped"] = True
        if setting["MaxLines"] and processed == setting["MaxLines"]:
            break
    return rows, result, refused


# --- Jobs

TEXTS = ["", "a", "GB", "NULL", "null", " x y", "longer than most", "café", "Dvořák", "O'Neil", 'say "hi"', "1;2", "AbC"]
NUMBERS = ["0", "1", "-7", "12.5", "0.1", "99999999999", "-2147483649", "3.1415927", "0.000004", "1.2.3", "x", "", " 5 ",
           "NULL", "1234.56789012"]
DATES = ["2020-02-29", "2021-02-29", "1999-12-31 23:59:59", "12:30", "", "soon", "NULL"]
TRUTHS = ["yes", "No", "TRUE", "0", "-1", "5", "", "maybe", "NULL"]
VALUES = {"Text": TEXTS, "Memo": TEXTS, "Long": NUMBERS, "Double": NUMBERS, "Date": DATES, "Boolean": TRUTHS}


def make_job(pick, kind, handler):
    types = [pick.choice(list(VALUES)) for _ in range(pick.randint(1, 5))]
    fields = [dict(name=f"F{i}", type=t, size=pick.choice([3, 8, 20])) for i, t in enumerate(types)]
    if handler:
        fields[0] = dict(name="COUNTRY", type="Text", size=8)
    columns = len(fields)
    update = kind != "SQLite" and pick.random() < 0.3
    good = {"Text": "ab", "Memo": "m", "Long": "1", "Double": "1.5", "Date": "2020-01-02", "Boolean": "True"}
    held = [[good[f["type"]] for f in fields] for _ in range(pick.choice([0, 1, 3]))]
    sources = [i if pick.random() < 0.9 else None for i in range(columns)]
    if all(s is None for s in sources):
        sources[0] = 0
    lines = []
    for _ in range(pick.randint(0, 12)):
        if pick.random() < 0.1:
            lines.append([])
            continue
        count = max(1, columns + pick.choice([0, 0, 0, 0, -1, 1]))
        clean = pick.random() < 0.5
        line = [pick.choice(VALUES[fields[i]["type"]]) if i < columns and not clean else
                good[fields[i]["type"]] if i < columns else pick.choice(["", "more"]) for i in range(count)]
        lines.append(line if line != [""] else ["a"])
    setting = dict(
        Upper=pick.random() < 0.15, Lower=pick.random() < 0.15, StartingLine=pick.choice([1, 1, 2, 3]),
        MaxLines=pick.choice([0, 0, 4]), AppendRecords=not update, AppendIfEof=pick.random() < 0.5,
        AppendFields=update and pick.random() < 0.3, EmptyTarget=pick.random() < 0.2, LimitErrors=pick.random() < 0.3,
        nErrorStop=pick.choice([1, 2]), NullText=pick.choice(["", "NULL"]), ExactValues=pick.random() < 0.25)
    return dict(kind=kind, fields=fields, held=held, map=sources, lines=lines, setting=setting, handler=handler)


def quoted(value):
    return '"' + value.replace('"', '""') + '"' if any(c in value for c in ',"') or value != value.strip() else value


def text_of(lines):
    return "".join(",".join(map(quoted, line)) + "\r\n" for line in lines)


def carry_out(job, folder):
    kind = job["kind"]
    place = {"Access": f"Access:{folder}/t.mdb", "SQLite": "ODBC:kvs"}.get(kind, f"{kind}:{folder}/t")
    if kind == "SQLite":
        (FOLDER / "odbc.ini").write_text(f"[kvs]\nDriver=SQLite\nDatabase={folder}/t.db\n")
        (folder / "t.db").touch()
    words = [f"{f['name']}:{f['type']}" + (f":{f['size']}" if f["type"] == "Text" else "") for f in job["fields"]]
    run(KELVORIN, "create", place, "T", *words)
    if job["held"]:
        (folder / "held.csv").write_text(text_of(job["held"]))
        run(KELVORIN, "import", folder / "held.csv", "--into", place, "--table", "T", "--format", "delimited",
            "--separators", "comma", "--record-separator", "crlf", "--map-in-order")
    (folder / "in.csv").write_text(text_of(job["lines"]))
    keys = {k: int(v) if isinstance(v, bool) else v for k, v in job["setting"].items() if v != ""}
    maps = "".join(f"Field{i}={s}\n" for i, s in enumerate(job["map"]) if s is not None)
    (folder / "j.ini").write_text(
        "[job]\nTypeFormat=0\nDelimiter=0\nSeparator1=0\nnbSeparators=1\nRecSeparator=0\nShowErrors=0\n" +
        "".join(f"{k}={v}\n" for k, v in keys.items()) + f"{maps}nbFields={len(job['fields'])}\n"
        f"SourceDBName={folder}/in.csv\nRejectFile={folder}/rejected\n\n[settings]\njob=\n")
    if job["handler"]:
        out = run(BATCH_HOST, folder / "j.ini", "job", folder / "in.csv", folder / "t", "T")
        found = re.search(r"imported (\d+), skipped (\d+)", out)
        outcome = dict(imported=int(found[1]), skipped=int(found[2])) if found else dict(fatal=True)
    else:
        where = ["ConnectString=ODBC", "DSN=kvs"] if kind == "SQLite" else [f"ConnectString={kind}",
                 f"DataBaseName={folder}/t" + (".mdb" if kind == "Access" else "")]
        outcome = json.loads(run(KELVORIN, "batch", "job", f"IniFile={folder}/j.ini", *where, "TableName=T", "--json"))
    reasons = folder / "rejected.reasons"
    refused = [row[:3] for row in rows_of(reasons.read_text())][1:] if reasons.exists() else []
    return dump(place, "T"), outcome, refused


def check(job, folder):
    rows, expected, refused = model(job)
    got_rows, outcome, got_refused = carry_out(job, folder)
    faults = []
    if expected["fatal"] != bool(outcome.get("fatal")):
        faults.append(f"fatal: {outcome.get('fatal')}")
    elif not expected["fatal"]:
        for key in outcome if job["handler"] else ("read", "imported", "rejected", "skipped", "truncated_values",
                                                   "replaced_characters", "changed_values", "left_out_values", "stopped"):
            if (outcome.get(key) or 0) != expected[key]:
                faults.append(f"{key}: {outcome.get(key)}, model {expected[key]}")
        if not job["handler"] and outcome.get("first_changed") != expected["first"]:
            faults.append(f"first: {outcome.get('first_changed')}, model {expected['first']}")
        if [[a.upper() for a in row] for row in got_refused] != [[a.upper() for a in row] for row in refused]:
            faults.append(f"refused: {got_refused}, model {refused}")
    if got_rows != rows:
        faults.append(f"rows: {got_rows}\nmodel {rows}")
    return faults


def main():
    (FOLDER / "odbcinst.ini").write_text("[SQLite]\nDriver=libsqlite3odbc.so\n")
    kinds = ["DBase3", "DBase5", "FOXPRO30", "Access"] + ([] if NO_ODBC else ["SQLite"])
    failures = 0
    for seed in range(SEED, SEED + JOBS):
        pick = random.Random(seed)
        handler = seed % 7 == 0
        job = make_job(pick, "FOXPRO26" if handler else kinds[seed % len(kinds)], handler)
        folder = FOLDER / str(seed)
        folder.mkdir()
        faults = check(job, folder)
        shutil.rmtree(folder)
        if faults:
            failures += 1
            print(f"job {seed}: {json.dumps(job, ensure_ascii=False)}\n  " + "\n  ".join(faults))
    shutil.rmtree(FOLDER)
    print(f"{JOBS} jobs, {failures} disagree" + ("; none of them into SQLite" if NO_ODBC else ""))
    return 1 if failures else 0


sys.exit(main())
