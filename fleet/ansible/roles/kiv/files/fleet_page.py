"""fleet.html, which needs nothing but a browser, and fleet.csv: a row for each drive, what went wrong first."""
import csv
import html
import io
import re

# Outcome: how bad it is (2 something is wrong, 1 to be looked at, 0 fine), and what it means. In the order of the page.
OUTCOMES = {
    "failed": (2, "was tried and failed"),
    "unknown": (2, "the server was lost, or the run ended, while the update ran"),
    "unreachable": (2, "the server did not answer"),
    "no answer": (2, "the server answered, but not kivhost"),
    "not done": (2, "its turn did not come on its server"),
    "blocked": (2, "was left alone, or not opened: the sentence says why"),
    "not started": (1, "the roll-out ended before"),
    "to update": (1, "would be updated"),
    "updated": (0, "runs its wanted level now, read back"),
    "current": (0, "ran its wanted level before"),
}
COLUMNS = {"server": "Server", "serial": "Serial number", "product": "Product", "before": "Level before",
           "after": "Level after", "outcome": "Outcome", "sentence": "What happened"}

STYLE = """
:root{color-scheme:light dark;--fg:#1b1f24;--bg:#fff;--soft:#57606a;--line:#d0d7de;--head:#f6f8fa;--b2:#a40e26;--b1:#7a4d00;--b0:#116329}
@media (prefers-color-scheme:dark){:root{--fg:#e6edf3;--bg:#0d1117;--soft:#9aa4af;--line:#30363d;--head:#161b22;--b2:#ff7b72;--b1:#e3b341;--b0:#56d364}}
*{box-sizing:border-box}
body{margin:0 auto;max-width:100rem;padding:1.5rem;font:15px/1.45 system-ui,"Segoe UI",sans-serif;color:var(--fg);background:var(--bg)}
h1{margin:0;font-size:1.6rem}
p{margin:.3rem 0 1rem;color:var(--soft)}
p b{color:var(--fg)}
ul{display:flex;flex-wrap:wrap;gap:.7rem;margin:0 0 1.4rem;padding:0;list-style:none}
li{min-width:9rem;padding:.5rem .9rem;border:1px solid var(--line);border-left:.35rem solid;border-radius:.3rem}
li b{display:block;font-size:1.7rem;line-height:1.1}
li small{display:block;max-width:15rem;color:var(--soft)}
table{width:100%;border-collapse:collapse}
th,td{padding:.3rem .6rem;border-bottom:1px solid var(--line);text-align:left;vertical-align:top}
th{position:sticky;top:0;background:var(--head)}
th:last-child{width:36%}
td{overflow-wrap:break-word}
td:last-child{overflow-wrap:anywhere}
@media screen and (min-width:75rem){th,td:nth-child(-n+6){white-space:nowrap}td:nth-child(3){white-space:normal}}
.b2{color:var(--b2)}.b1{color:var(--b1)}.b0{color:var(--b0)}
td.b2{font-weight:600}
@media print{:root{color-scheme:light;--fg:#000;--bg:#fff;--soft:#333;--line:#999;--head:#fff;--b2:#a40e26;--b1:#7a4d00;--b0:#116329}
@page{size:landscape;margin:12mm}body{max-width:none;padding:0;font-size:9pt}th{position:static}thead{display:table-header-group}tr,li{break-inside:avoid}}
"""


def is_wrong(outcome):
    return OUTCOMES[outcome][0] == 2


def counts(rows):
    present = [row["outcome"] for row in rows]
    return {outcome: present.count(outcome) for outcome in OUTCOMES if outcome in present}


def number_of(count, noun):
    return f"{count} {noun}{'' if count == 1 else 's'}"


def listed(rows):
    return ", ".join(f"{number} {outcome}" for outcome, number in counts(rows).items()) or "none"


def summary(rows, servers, check):
    """What the page says first, and the end of the run."""
    changed = sum(1 for row in rows if row["changed"])
    unknown = sum(1 for row in rows if row["changed"] is None)
    said = []
    if check:
        said.append("This was a check: nothing was changed.")
    elif changed:
        said.append(f"{number_of(changed, 'drive')} {'runs' if changed == 1 else 'run'} another level now.")
    elif not unknown:
        tried = any(row["outcome"] in ("updated", "failed") for row in rows)
        said.append("No drive runs another level now." if tried else "Nothing was changed.")
    if unknown:
        said.append(f"What became of {number_of(unknown, 'drive')} is not known.")
    said.append(f"Drives of {number_of(servers, 'server')}: {listed([row for row in rows if row['serial']])}.")
    nameless = [row for row in rows if not row["serial"]]
    if nameless:
        said.append(f"Without a serial number: {listed(nameless)}.")
    return " ".join(said)


def page(rows, sentence, begun):
    out = io.StringIO()
    out.write('<!DOCTYPE html>\n<html lang="en">\n<meta charset="utf-8">\n'
              '<meta name="viewport" content="width=device-width">\n'
              '<meta http-equiv="Content-Security-Policy" content="default-src \'none\'; style-src \'unsafe-inline\'">\n'
              f"<title>Tape drives of the fleet</title>\n<style>{STYLE}</style>\n"
              f"<h1>Tape drives of the fleet</h1>\n<p><b>{html.escape(sentence)}</b> Begun {html.escape(begun)}.</p>\n<ul>\n")
    for outcome, number in counts(rows).items():
        badness, meaning = OUTCOMES[outcome]
        out.write(f'<li class="b{badness}"><b>{number}</b>{outcome}<small>{meaning}</small>\n')
    out.write("</ul>\n<table>\n<thead><tr>" + "".join(f"<th>{title}" for title in COLUMNS.values()) + "\n<tbody>\n")
    for row in rows:
        cells = [html.escape(row[column]) for column in COLUMNS]
        # Product strings are long, and break where their parts end.
        cells[2] = cells[2].replace(":", ":<wbr>")
        out.write("<tr><td>" + "<td>".join(cells[:5]) +
                  f'<td class="b{OUTCOMES[row["outcome"]][0]}">{cells[5]}<td>{cells[6]}\n')
    out.write("</table>\n")
    return out.getvalue()


def table(rows):
    """RFC 4180. A spreadsheet takes what begins like a formula for one: an apostrophe in front keeps it a text."""
    out = io.StringIO(newline="")
    writer = csv.writer(out)
    writer.writerow(COLUMNS)
    for row in rows:
        writer.writerow("'" + row[column] if re.match(r"\s*[=+\-@|%]", row[column]) else row[column] for column in COLUMNS)
    return out.getvalue()


def write(folder, rows, sentence, begun):
    order = list(OUTCOMES)
    rows = sorted(rows, key=lambda row: order.index(row["outcome"]))
    for name, content in (("fleet.html", page(rows, sentence, begun)), ("fleet.csv", table(rows))):
        new = folder / (name + ".new")
        new.write_text(content, encoding="utf-8", errors="replace", newline="")
        new.replace(folder / name)
