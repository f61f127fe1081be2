#!/usr/bin/env python3
"""Turns the benchmarks' JSON into a table and a plot.

    report.py RESULTS.json [--plot FILE.svg] [--page FILE.md]

--page replaces the table in a page, between the lines "<!-- figures -->".
"""

import argparse
import json
import math
import statistics

# What is aimed at: the time as a multiple of the floor's, at most, and the reference's time as a
# multiple of the library's, at least.
FLOOR_GOALS = {
    'send small': 1.5, 'send medium': 1.7, 'send text': 1.9,
    'send big': 1 / 0.6, 'send escaped': 1 / 0.22,
    'receive small': 1.4, 'receive medium': 1.6, 'receive text': 1.8,
    'receive big': 1 / 0.4, 'receive escaped': 1 / 0.18,
}
REFERENCE_GOALS = {
    'send small': 5, 'send text': 10, 'send big': 70,
    'receive small': 1.8, 'receive text': 4.5, 'receive big': 30,
}


class Case:
    def __init__(self, name):
        self.name = name
        self.times = {}
        self.allocations = 0

    def median(self, way):
        return statistics.median(self.times[way]) if way in self.times else None

    def over_floor(self):
        return self.median('library') / self.median('floor') if 'floor' in self.times else None

    def gain(self):
        if 'reference' not in self.times:
            return None
        return self.median('reference') / self.median('library')


def read_cases(path):
    with open(path, encoding='utf-8') as file:
        runs = json.load(file)['benchmarks']
    cases = {}
    for run in sorted((run for run in runs if run['run_type'] == 'iteration'),
                      key=lambda run: run['family_index']):
        waits = run['run_name'].endswith('/real_time')
        name, way = run['run_name'].removesuffix('/real_time').rsplit('/', 1)
        case = cases.setdefault(name, Case(name))
        case.times.setdefault(way, []).append(run['real_time' if waits else 'cpu_time'])
        if way == 'library':
            case.allocations = run['allocations']
    return [case for case in cases.values() if 'library' in case.times]


def number(value):
    if value is None:
        return ''
    return f'{value:.0f}' if value >= 100 else f'{value:.3g}'


def table(cases):
    rows = [('case', 'ns', 'of the floor', 'goal', 'gain', 'goal', 'allocations')]
    for case in cases:
        rows.append((case.name, number(case.median('library')),
                     number(case.over_floor()), number(FLOOR_GOALS.get(case.name)),
                     number(case.gain()), number(REFERENCE_GOALS.get(case.name)),
                     f'{case.allocations:.3g}'))
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = []
    for row in rows:
        cells = [row[0].ljust(widths[0])] + [
            cell.rjust(width) for cell, width in zip(row[1:], widths[1:])]
        lines.append('| ' + ' | '.join(cells) + ' |')
    rule = ['-' * widths[0]] + ['-' * (width - 1) + ':' for width in widths[1:]]
    lines.insert(1, '| ' + ' | '.join(rule) + ' |')
    return '\n'.join(lines)


def plot(cases):
    """A dot for each way of each case, as a multiple of the floor, on a logarithmic axis."""
    cases = [case for case in cases if case.over_floor() is not None]
    left, right, top, row = 220, 880, 70, 22
    height = top + row * len(cases) + 20
    decades = math.ceil(math.log10(max(
        [10] + [case.gain() * case.over_floor() for case in cases if case.gain()])))

    def x(ratio):
        return left + (right - left) * (math.log10(ratio) + 0.1) / (decades + 0.2)

    def dot(ratio, y, color):
        return f'<circle cx="{x(ratio):.1f}" cy="{y}" r="5" fill="{color}"/>'

    library, reference, goal = '#1f6feb', '#8c959f', '#bf3989'
    svg = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {right + 20} {height}" '
        'font-family="sans-serif" font-size="13">',
        f'<rect width="{right + 20}" height="{height}" fill="white"/>',
        '<text x="10" y="22" font-size="15">Time as a multiple of the floor</text>',
    ]
    for at, (color, text) in enumerate(
            [(library, 'library'), (reference, 'byte-at-a-time reference')]):
        svg.append(f'<circle cx="{left + 130 * at + 60}" cy="18" r="5" fill="{color}"/>'
                   f'<text x="{left + 130 * at + 70}" y="22">{text}</text>')
    svg.append(f'<path d="M{left + 360} 11v14" stroke="{goal}" stroke-width="2"/>'
               f'<text x="{left + 370}" y="22">goal</text>')
    for decade in range(decades + 1):
        svg.append(f'<path d="M{x(10 ** decade):.1f} {top - 15}V{height - 15}" stroke="#d0d7de"/>'
                   f'<text x="{x(10 ** decade):.1f}" y="{top - 20}" text-anchor="middle">'
                   f'{10 ** decade}</text>')
    for at, case in enumerate(cases):
        y = top + row * at
        svg.append(f'<text x="10" y="{y + 4}">{case.name}</text>')
        if case.gain():
            svg.append(dot(case.over_floor() * case.gain(), y, reference))
        if case.name in FLOOR_GOALS:
            svg.append(f'<path d="M{x(FLOOR_GOALS[case.name]):.1f} {y - 8}v16" stroke="{goal}" '
                       'stroke-width="2"/>')
        svg.append(dot(case.over_floor(), y, library))
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
    parser.add_argument('results')
    parser.add_argument('--plot')
    parser.add_argument('--page')
    options = parser.parse_args()
    cases = read_cases(options.results)
    print(table(cases))
    if options.plot:
        with open(options.plot, 'w', encoding='utf-8') as file:
            file.write(plot(cases))
    if options.page:
        replace_figures(options.page, table(cases))


main()
