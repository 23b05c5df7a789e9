"""Interleaved rounds, and what follows from them."""

import dataclasses
import statistics
import time
from concurrent.futures import ThreadPoolExecutor

from participants import Failed, start

# Of 255 steps, for means over parts of pictures that were made by another decoder or another converter.
MEAN_TOLERANCE = 2.0
LARGEST_TOLERANCE = 12.0
# What an encoder puts before its sound, which some leave out.
MOST_SAMPLES_BEFORE = 2048
LEAST_WARM_ROUNDS = 6
MOST_WARM_ROUNDS = 100
WARM_SECONDS = 6


def difference(outcome, expected, bits_matter, slack):
    """What is wrong with an outcome, or how it differs: (whether it counts, words). @param slack by which counts may differ"""
    if outcome is None:
        return True, "not compared"
    if outcome.count not in (-1, expected.count):
        return abs(outcome.count - expected.count) <= slack, f"{outcome.count} instead of {expected.count}"
    if bits_matter and outcome.checksum == expected.checksum:
        return True, "same"
    if len(outcome.numbers) != len(expected.numbers):
        return (True, "counted") if not expected.numbers or not outcome.numbers else (False, "another size")
    steps = [abs(one - other) for one, other in zip(outcome.numbers, expected.numbers)]
    mean, largest = statistics.fmean(steps), max(steps)
    if largest == 0:
        return True, "same"
    good = mean <= MEAN_TOLERANCE and largest <= LARGEST_TOLERANCE
    return good, f"differs by {mean:.2f}, at most {largest:.1f}"


class Comparison:
    """Participants of one task. Each is (label, name, task); the first one is what the others are compared with.
    @param exact what images should show, or None where the first participant's outcome is right"""

    def __init__(self, place, on, entrants, rounds, say, exact=None):
        self.labels = {}
        self.remarks = {}
        self.rounds = {}
        self.count = None
        # Two at a time begin and warm up, which is not measured.
        with ThreadPoolExecutor(2) as pool:
            begun = list(pool.map(lambda one: self._begin(place, on, one, rounds), entrants))
        expected = None
        for (label, _, task), (participant, outcome, failure) in zip(entrants, begun):
            if failure is not None:
                self.remarks[label] = f"cannot: {failure}"
                if expected is None:
                    for other, _, _ in begun:
                        if other is not None:
                            other.close()
                    raise Failed(f"{label}: {failure}")
                continue
            if expected is None:
                expected = outcome
                self.count = outcome.count
                if exact is not None:
                    expected = dataclasses.replace(outcome, numbers=exact)
            good, remark = difference(outcome, expected, task.kind != "images",
                                      MOST_SAMPLES_BEFORE if task.kind.startswith("sound") else 0)
            self.remarks[label] = remark
            if good:
                self.labels[label] = participant
                self.rounds[label] = []
            else:
                say(f"  {label}: {remark}; its time does not count")
                participant.close()

    @staticmethod
    def _begin(place, on, entrant, rounds):
        """Starts a participant, has it show what comes out, and warms it up. @return (participant, outcome, None), or
        (None, None, why it fails)"""
        _, name, task = entrant
        participant = None
        try:
            participant = start(place, on, name, task)
            outcome = participant.check()
            begin = time.monotonic()
            least = min(LEAST_WARM_ROUNDS, rounds)
            done = 0
            # What is compiled already needs one round, and a trial of few rounds says nothing anyway.
            while done < 1 or participant.is_java and (done < least or (
                    rounds > LEAST_WARM_ROUNDS and done < MOST_WARM_ROUNDS and time.monotonic() - begin < WARM_SECONDS)):
                participant.round()
                done += 1
            return participant, outcome, None
        except (Failed, OSError, ValueError) as failure:
            if participant is not None:
                participant.close()
            return None, None, failure

    def run(self, rounds):
        """Does the rounds, each participant one by turns."""
        order = list(self.labels)
        for number in range(rounds):
            # Nobody always comes behind the same one.
            shift = number % len(order)
            for label in order[shift:] + order[:shift]:
                if label in self.labels and (done := self._round(label)) is not None:
                    self.rounds[label].append(done)
        for participant in self.labels.values():
            participant.close()
        return self

    def _round(self, label):
        """One round, or None when the participant has failed, which then takes no part any more."""
        try:
            return self.labels[label].round()
        except (Failed, OSError, ValueError) as failure:
            self.remarks[label] = f"failed: {failure}"
            self.labels.pop(label).close()
            self.rounds[label] = []
            return None

    def rows(self, baseline=None):
        """A record for each participant. @param baseline label -> label of what it is compared with"""
        first = next(iter(self.rounds))
        rows = []
        for label, remark in self.remarks.items():
            row = {"participant": label, "outcome": remark, "count": self.count}
            mine = self.rounds.get(label)
            other = self.rounds.get((baseline or {}).get(label, first))
            if mine and other:
                for clock in ("wall", "thread", "process"):
                    times = [getattr(one, clock) for one in mine]
                    others = [getattr(one, clock) for one in other]
                    if min(times) > 0 and min(others) > 0:
                        row[clock] = summary(times, others)
                row["heap"] = min(one.heap for one in mine) / self.count
            rows.append(row)
        return rows


def summary(times, others):
    """Of the times and of their ratios to those of the same rounds."""
    ratios = [one / other for one, other in zip(times, others)]
    return {"minimum": min(times), "median": statistics.median(times), "quartiles": quartiles(times),
            "ratio": min(times) / min(others), "ratio_median": statistics.median(ratios),
            "ratio_quartiles": quartiles(ratios), "times": times}


def quartiles(values):
    if len(values) < 2:
        return [values[0], values[0]]
    low, _, high = statistics.quantiles(values, n=4, method="inclusive")
    return [low, high]
