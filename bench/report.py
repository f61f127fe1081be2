#!/usr/bin/env python3
"""Turns the benchmarks' JSON into tables and a plot.

    report.py BUILD=RESULTS.json... [--plot FILE.svg] [--page FILE.md]

Results of the same build are put together. --page replaces the figures in a page, between the lines
"<!-- figures -->".
"""

import argparse
import json
import math
import statistics

# What is aimed at, for every build: the library's time as a multiple of the floor's and of the
# peer's, at most, and the reference's time as a multiple of the library's, at least.
FLOOR_GOALS = {
    'send small': 1.5, 'send medium': 1.7, 'send text': 1.9,
    'send big': 1 / 0.6, 'send escaped': 1 / 0.22,
    'receive small': 1.4, 'receive medium': 1.6, 'receive text': 1.8,
    'receive big': 1 / 0.4, 'receive escaped': 1 / 0.18,
}
PEER_GOALS = {
    'send small': 1, 'send medium': 0.9, 'send text': 0.95,
    'send text latin': 1.5, 'send text korean': 2,
    'send big': 0.6, 'send escaped': 1.7, 'send cjk': 2.2,
    'receive small': 1, 'receive medium': 0.9, 'receive text': 0.95,
    'receive text latin': 1.15, 'receive text korean': 1.35,
    'receive big': 0.7, 'receive escaped': 1.7, 'receive cjk': 2.9,
}
REFERENCE_GOALS = {
    'send small': 5, 'send text': 10, 'send big': 70,
    'receive small': 1.8, 'receive text': 4.5, 'receive big': 30,
}


class Measurement:
    """One case in one build."""

    def __init__(self):
        self.times = {}
        self.allocations = 0

    def median(self, way):
        return statistics.median(self.times[way]) if way in self.times else None

    def ratio(self, over, under):
        if over not in self.times or under not in self.times:
            return None
        return self.median(over) / self.median(under)


def read_results(arguments):
    """For each case, in the order of the benchmark, the measurement of each build."""
    cases = {}
    for argument in arguments:
        build, path = argument.split('=', 1)
        with open(path, encoding='utf-8') as file:
            runs = json.load(file)['benchmarks']
        for run in sorted((run for run in runs if run['run_type'] == 'iteration'),
                          key=lambda run: run['family_index']):
            waits = run['run_name'].endswith('/real_time')
            name, way = run['run_name'].removesuffix('/real_time').rsplit('/', 1)
            measured = cases.setdefault(name, {}).setdefault(build, Measurement())
            measured.times.setdefault(way, []).append(run['real_time' if waits else 'cpu_time'])
            if way == 'library':
                measured.allocations = run['allocations']
    return {name: builds for name, builds in cases.items()
            if all('library' in measured.times for measured in builds.values())}


def number(value):
    if value is None:
        return ''
    return f'{value:.0f}' if value >= 100 else f'{value:.3g}'


def judged(value, goal, isMissed):
    if value is not None and goal is not None and isMissed(value, goal):
        return f'**{number(value)}**'
    return number(value)


def markdown(rows):
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = []
    for row in rows:
        cells = [row[0].ljust(widths[0])] + [
            cell.rjust(width) for cell, width in zip(row[1:], widths[1:])]
        lines.append('| ' + ' | '.join(cells) + ' |')
    rule = ['-' * widths[0]] + ['-' * (width - 1) + ':' for width in widths[1:]]
    lines.insert(1, '| ' + ' | '.join(rule) + ' |')
    return '\n'.join(lines)


def figures(cases):
    builds = list(dict.fromkeys(build for case in cases.values() for build in case))
    head = ['case']
    for build in builds:
        head += [f'{build}, ns', 'of floor', 'of peer', 'gain']
    rows = [head + ['allocations']]
    for name, case in cases.items():
        row = [name]
        for build in builds:
            measured = case.get(build, Measurement())
            row += [number(measured.median('library')),
                    judged(measured.ratio('library', 'floor'), FLOOR_GOALS.get(name), float.__gt__),
                    judged(measured.ratio('library', 'peer'), PEER_GOALS.get(name), float.__gt__),
                    judged(measured.ratio('reference', 'library'), REFERENCE_GOALS.get(name),
                           float.__lt__)]
        rows.append(row + [f'{case[next(iter(case))].allocations:.3g}'])
    return markdown(rows)


def goals(cases):
    rows = [('goal', 'of floor, at most', 'of peer, at most', 'gain, at least')]
    for name in cases:
        row = [number(table.get(name)) for table in (FLOOR_GOALS, PEER_GOALS, REFERENCE_GOALS)]
        if any(row):
            rows.append((name, *row))
    return markdown(rows)


def spread(cases):
    """How far the library's medians lie above the quickest runs: the noise of the machine."""
    shares = {
        f'{name}, {build}': measured.median('library') / min(measured.times['library']) - 1
        for name, case in cases.items() for build, measured in case.items()
    }
    worst = max(shares, key=shares.get)
    return (f'The medians lie {statistics.median(shares.values()):.0%} above the quickest runs, '
            f'{shares[worst]:.0%} at most ({worst}).')


def plot(cases):
    """A mark for each way of each case, as a multiple of the floor, on a logarithmic axis."""
    cases = {name: {build: measured for build, measured in case.items()
                    if 'floor' in measured.times} for name, case in cases.items()}
    cases = {name: case for name, case in cases.items() if case}
    builds = list(dict.fromkeys(build for case in cases.values() for build in case))
    colors = {'reference': '#8c959f', 'peer': '#bc4c00', 'library': '#1f6feb'}
    marks = {  # name, build (by its order), way -> the ratio
        (name, builds.index(build), way): measured.ratio(way, 'floor')
        for way in colors for name, case in cases.items() for build, measured in case.items()
        if way in measured.times}
    left, right, top, row = 220, 880, 90, 22
    height = top + row * len(cases) + 20
    first = min(0, math.log10(min(marks.values()))) - 0.05
    last = max(1, math.log10(max(marks.values()))) + 0.05

    def x(ratio):
        return left + (right - left) * (math.log10(ratio) - first) / (last - first)

    def mark(at, y, build, color):  # a disk, a ring, and a smaller ring
        style = f'fill="{color}"' if build == 0 else f'fill="white" stroke="{color}" stroke-width="2"'
        return f'<circle cx="{at:.1f}" cy="{y}" r="{5 if build < 2 else 3}" {style}/>'

    goal = '#bf3989'
    svg = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {right + 20} {height}" '
        'font-family="sans-serif" font-size="13">',
        f'<rect width="{right + 20}" height="{height}" fill="white"/>',
        '<text x="10" y="22" font-size="15">Time as a multiple of the floor</text>',
    ]
    legend = [(0, color, way) for way, color in reversed(colors.items())]
    legend += [(build, 'black', name) for build, name in enumerate(builds)]
    for at, (build, color, text) in enumerate(legend):
        lines, column = divmod(at, 3)
        svg.append(mark(left + 170 * column + 60, 18 + 22 * lines, build, color) +
                   f'<text x="{left + 170 * column + 72}" y="{22 + 22 * lines}">{text}</text>')
    svg.append(f'<path d="M{left + 570} 11v14" stroke="{goal}" stroke-width="2"/>'
               f'<text x="{left + 580}" y="22">goal</text>')
    for decade in range(math.ceil(first), math.floor(last) + 1):
        svg.append(f'<path d="M{x(10 ** decade):.1f} {top - 15}V{height - 15}" stroke="#d0d7de"/>'
                   f'<text x="{x(10 ** decade):.1f}" y="{top - 20}" text-anchor="middle">'
                   f'{10 ** decade}</text>')
    rows = {name: top + row * at for at, name in enumerate(cases)}
    for name, y in rows.items():
        svg.append(f'<text x="10" y="{y + 4}">{name}</text>')
        if name in FLOOR_GOALS:
            svg.append(f'<path d="M{x(FLOOR_GOALS[name]):.1f} {y - 8}v16" stroke="{goal}" '
                       'stroke-width="2"/>')
    svg += [mark(x(ratio), rows[name], build, colors[way])
            for (name, build, way), ratio in marks.items()]
    svg.append('</svg>')
    return '\n'.join(svg) + '\n'


def replace_figures(path, text):
    mark = '<!-- figures -->\n'
    with open(path, encoding='utf-8') as file:
        before, _, after = file.read().split(mark)
    with open(path, 'w', encoding='utf-8') as file:
        file.write(f'{before}{mark}{text}\n{mark}{after}')


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('results', nargs='+', metavar='BUILD=RESULTS.json')
    parser.add_argument('--plot')
    parser.add_argument('--page')
    options = parser.parse_args()
    cases = read_results(options.results)
    if not cases:
        parser.exit(1, 'report.py: no case was measured\n')
    print(f'{figures(cases)}\n\n{spread(cases)}')
    if options.plot:
        with open(options.plot, 'w', encoding='utf-8') as file:
            file.write(plot(cases))
    if options.page:
        replace_figures(options.page, f'{figures(cases)}\n\n{spread(cases)}\n\n{goals(cases)}')


main()
