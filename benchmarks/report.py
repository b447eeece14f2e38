#!/usr/bin/env python3
"""Joins the results of the cases: prints the table, writes results.json, draws the pictures and
renews the table of docs/performance.md.

usage: report.py <folder with the cases' JSON files> [--document <performance.md>]
"""

import argparse
import json
import os
import pathlib
import platform
import re
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt

TABLE = re.compile(r"(<!-- last run -->\n).*?(<!-- end of last run -->)", re.S)
TITLES = {
    "cycle": "Cycle of four answering devices",
    "exchange-ACK": "Exchange and pause, ACK",
    "exchange-data": "Exchange and pause, data",
    "exchange-silent": "Exchange and pause, silence",
    "acknowledge-idle": "ACK after the last reply byte, idle",
    "acknowledge-load": "ACK after the last reply byte, under load",
    "latency": "From the last byte on the wire to the handler in QML",
}


def number(value):
    if value == 0 or abs(value) >= 1000:
        return f"{value:.0f}"
    return f"{value:.4g}"


def verdict(figure):
    if "met" not in figure:
        return "reported"
    return "met" if figure["met"] else "MISSED"


def row(figure):
    floor = ""
    if "floor" in figure:
        floor = f"{number(figure['floor'])} ({figure['floorWhat']})"
    ratio = f"{figure['ratio']:.3f}" if "ratio" in figure else ""
    value = f"{number(figure['value'])} {figure['unit']}".strip()
    return [figure["what"], floor, value, ratio, figure.get("goal", ""), verdict(figure)]


def rows(results):
    head = ["What", "Floor", "Figure", "Ratio", "Goal", "Verdict"]
    return [head] + [row(figure) for case in results["cases"] for figure in case["figures"]]


def as_markdown(table):
    lines = ["| " + " | ".join(cells) + " |" for cells in table]
    return "\n".join([lines[0], "|" + "---|" * len(table[0])] + lines[1:])


def as_text(table):
    widths = [max(len(cells[i]) for cells in table) for i in range(len(table[0]))]
    return "\n".join("  ".join(c.ljust(w) for c, w in zip(cells, widths)) for cells in table)


def describe_machine(load):
    cpu = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo")
                if line.startswith("model name")), platform.machine())
    return {"cpu": cpu, "cores": os.cpu_count(), "kernel": platform.release(), **load}


def machine_lines(results):
    machine = results["machine"]
    busy = max(machine["busyBeforePercent"], machine["busyAfterPercent"])
    lines = [f"{machine['cores']} cores, {machine['cpu']}, Linux {machine['kernel']}; "
             f"other work used {machine['busyBeforePercent']:.0f} % of all cores before the run "
             f"and {machine['busyAfterPercent']:.0f} % after it."]
    if results["quick"]:
        lines.append("A quick run: a tenth of the samples.")
    if busy > 5:
        lines.append("**The machine was not quiet: these figures are not those of a quiet one.**")
    return lines


def draw(chart, curves, folder):
    """Share of the samples up to each value, with the floor or limit as a line."""
    figure, axes = plt.subplots(figsize=(7, 3.2))
    for curve in curves:
        values = curve["quantiles"]
        shares = [100 * i / (len(values) - 1) for i in range(len(values))]
        axes.step(values, shares, where="post", label=f"{curve['name']} (n={curve['count']})")
    limit = curves[0]
    axes.axvline(limit["floor"], color="gray", linestyle="--", label=limit["floorWhat"])
    axes.set(title=TITLES[chart], xlabel=limit["unit"], ylabel="% of the samples")
    axes.legend(fontsize="small")
    figure.tight_layout()
    figure.savefig(folder / f"{chart}.svg", metadata={"Date": None})
    plt.close(figure)


def draw_all(results, folder):
    charts = {}
    for case in results["cases"]:
        for curve in case["distributions"]:
            charts.setdefault(curve["chart"], []).append(curve)
    for chart, curves in charts.items():
        draw(chart, curves, folder)


def renew(document, results, table):
    text = document.read_text()
    body = "\n\n".join(machine_lines(results) + [as_markdown(table)]) + "\n"
    document.write_text(TABLE.sub(lambda match: match[1] + body + match[2], text))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--document", type=pathlib.Path)
    arguments = parser.parse_args()

    run = json.loads((arguments.folder / "run.json").read_text())
    cases = [json.loads((arguments.folder / f"{name}.json").read_text()) for name in run["cases"]]
    results = {"quick": run["quick"], "machine": describe_machine(run["load"]), "cases": cases}
    (arguments.folder / "results.json").write_text(json.dumps(results, indent=1))

    table = rows(results)
    draw_all(results, arguments.folder)
    print(as_text(table))
    print("\n".join(machine_lines(results)))
    if arguments.document:
        draw_all(results, arguments.document.parent / "images")
        renew(arguments.document, results, table)
    missed = sum(cells[-1] == "MISSED" for cells in table)
    print(f"{len(table) - 1} figures, {missed} goals missed.")
    return 1 if missed else 0


sys.exit(main())
