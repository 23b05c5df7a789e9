"""Interleaved rounds, and what follows from them."""

import statistics
import time

from participants import Failed, start

# Of 255 steps, for means over parts of pictures that were made by another decoder or another converter.
MEAN_TOLERANCE = 2.0
LARGEST_TOLERANCE = 12.0
LEAST_WARM_ROUNDS = 3
MOST_WARM_ROUNDS = 12
WARM_SECONDS = 3.0


def difference(outcome, expected, bits_matter):
    """What is wrong with an outcome, or how it differs: (whether it counts, words)."""
    if outcome is None:
        return True, "not compared"
    if outcome.count not in (-1, expected.count):
        return False, f"{outcome.count} instead of {expected.count}"
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
    """Participants of one task. Each is (label, name, task); the first one is what the others are compared with."""

    def __init__(self, place, on, entrants, say):
        self.labels = {}
        self.remarks = {}
        self.counts = {}
        self.rounds = {}
        expected = None
        for label, name, task in entrants:
            try:
                participant = start(place, on, name, task)
                outcome = participant.check()
            except Failed as failure:
                if expected is None:
                    raise
                self.remarks[label] = f"cannot: {failure}"
                continue
            if expected is None:
                expected = outcome
            good, remark = difference(outcome, expected, task.kind != "images")
            self.remarks[label] = remark
            if good:
                self.labels[label] = participant
                self.rounds[label] = []
            else:
                say(f"  {label}: {remark}; its time does not count")
                participant.close()
        self.count = expected.count

    def run(self, rounds):
        """Warms all up, then does the rounds, each participant one by turns."""
        # A trial of few rounds says nothing anyway.
        least = min(LEAST_WARM_ROUNDS, rounds)
        for label in list(self.labels):
            begin = time.monotonic()
            done = 0
            while done < least or (rounds > LEAST_WARM_ROUNDS and done < MOST_WARM_ROUNDS
                                   and time.monotonic() - begin < WARM_SECONDS):
                if self._round(label) is None:
                    break
                done += 1
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
        except (Failed, OSError) as failure:
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
