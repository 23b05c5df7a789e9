"""Writes results: JSON with everything, Markdown tables, SVG plots."""

import json
import os

import matplotlib

matplotlib.use("Agg")
matplotlib.rcParams.update({"svg.hashsalt": "kivjniffmpeg", "font.size": 9, "axes.grid": True, "grid.alpha": 0.3,
                            "axes.spines.top": False, "axes.spines.right": False})
import matplotlib.pyplot as plt  # noqa: E402: after the choice of a backend that needs no screen
from matplotlib.ticker import NullLocator  # noqa: E402

CLOCKS = {"wall": "wall time", "thread": "processor time of the calling thread", "process": "processor time"}


class Report:
    def __init__(self, directory, conditions):
        self.directory = directory
        self.sections = [("# Results", conditions)]
        self.data = {"conditions": conditions}
        os.makedirs(directory, exist_ok=True)

    def add(self, title, text, name, data):
        """A section, and its figures as JSON. What is finished is on disk at once."""
        text = "\n".join(line.strip() if number else line for number, line in enumerate(text.split("\n")))
        self.sections.append(("## " + title, text))
        self.data[name] = data
        with open(os.path.join(self.directory, name + ".json"), "w", encoding="utf-8") as file:
            json.dump(data, file, indent=1)
            file.write("\n")
        with open(os.path.join(self.directory, "README.md"), "w", encoding="utf-8") as file:
            file.write("\n".join(f"{head}\n\n{body}\n" for head, body in self.sections))

    def plot(self, name, draw, width=7.5, height=4.2):
        """Makes NAME.svg. @return the Markdown that shows it"""
        figure, axes = plt.subplots(figsize=(width, height))
        draw(axes)
        figure.tight_layout()
        figure.savefig(os.path.join(self.directory, name + ".svg"), metadata={"Date": None})
        plt.close(figure)
        return f"![{name}]({name}.svg)\n"


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|" + " --- |" * len(heads)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def ratio(times):
    if not times:
        return ""
    low, high = times["ratio_quartiles"]
    return f"{times['ratio']:.2f} ({times['ratio_median']:.2f}, {low:.2f} to {high:.2f})"


def milliseconds(times):
    return f"{1e3 * times['minimum']:.1f}" if times else ""


def comparison_table(rows):
    return table(
        ["participant", "wall ms", "of the baseline", "processor ms", "of the baseline", "calling thread", "heap bytes each",
         "outcome"],
        [[row["participant"], milliseconds(row.get("wall")), ratio(row.get("wall")), milliseconds(row.get("process")),
          ratio(row.get("process")), ratio(row.get("thread")), round(row["heap"]) if row.get("heap") else "",
          row["outcome"]] for row in rows])


def bars(comparisons, clock="wall"):
    """Ratios to the baseline: a group for each comparison, a bar for each participant."""
    def draw(axes):
        labels = list(dict.fromkeys(row["participant"] for rows in comparisons.values() for row in rows if row.get(clock)))
        height = 0.8 / max(1, len(labels))
        for number, label in enumerate(labels):
            places, values, low, high = [], [], [], []
            for group, rows in enumerate(comparisons.values()):
                for row in rows:
                    if row["participant"] == label and row.get(clock):
                        times = row[clock]
                        places.append(group + (number + 0.5) * height - 0.4)
                        values.append(times["ratio"])
                        low.append(max(0.0, times["ratio"] - times["ratio_quartiles"][0]))
                        high.append(max(0.0, times["ratio_quartiles"][1] - times["ratio"]))
            axes.barh(places, values, height * 0.9, xerr=[low, high], label=label, error_kw={"linewidth": 0.6})
        axes.axvline(1, color="black", linewidth=0.8)
        axes.set_yticks(range(len(comparisons)), list(comparisons))
        axes.invert_yaxis()
        axes.set_xscale("log")
        largest = max((row[clock]["ratio"] for rows in comparisons.values() for row in rows if row.get(clock)), default=1)
        axes.set_xticks([0.5, 0.7, 1, 1.5, 2, 3, 5, 10, 20, 50], ["0.5", "0.7", "1", "1.5", "2", "3", "5", "10", "20", "50"])
        axes.xaxis.set_minor_locator(NullLocator())
        axes.set_xlim(0.5, max(2.0, largest * 1.2))
        axes.set_xlabel(f"{CLOCKS[clock]}, of the baseline's")
        axes.legend(fontsize=7, ncol=2)
    return draw


def lines(series, across, upwards, zero=True):
    """@param series label -> [(x, y)]"""
    def draw(axes):
        for label, points in series.items():
            axes.plot(*zip(*sorted(points)), marker="o", markersize=3, linewidth=1.2, label=label)
        axes.set_xlabel(across)
        axes.set_ylabel(upwards)
        if zero:
            axes.set_xlim(left=0)
            axes.set_ylim(bottom=0)
        axes.legend(fontsize=8)
    return draw
