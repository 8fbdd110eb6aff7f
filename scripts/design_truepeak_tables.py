#!/usr/bin/env python3
"""Designs the four 256-tap low-pass prototypes of the true-peak interpolator and writes
measure/TruePeakTables.cpp.

Usage (needs numpy and scipy; on Debian: apt-get install python3-scipy):
    /usr/bin/python3 scripts/design_truepeak_tables.py            # write the tables
    /usr/bin/python3 scripts/design_truepeak_tables.py --check    # print the summary only
    /usr/bin/python3 scripts/design_truepeak_tables.py --fit      # re-fit edges and weights first (minutes)

Each prototype is a Parks-McClellan (scipy.signal.remez) equiripple low-pass with 256 taps,
linear phase and even symmetry, run at the oversampled rate (16 x 44100, 16 x 48000,
8 x 96000 and 4 x 192000 Hz). After the design the taps are scaled so that they sum to
the gain the interpolator has always had (a touch under one, so a constant reads a little
under its level), and the residue of that scaling is put on the two centre taps so the
sum is exact in double precision.

The band edges and weights below reproduce the prototypes the meter has always used:
their first four taps and the four taps up to the centre (the "reference taps" further
down) were fitted by a Nelder-Mead search over pass edge, stop edge and stop-band weight
(grid density 16), starting from edges of 20 / 28 kHz (tables A and B), 44 / 52 kHz (C)
and 91 / 101 kHz (D). Run with --fit to repeat that search.

How close the committed tables come (largest absolute difference on the eight reference
taps; ripple measured over the design pass band; stop-band level from the stop edge on):

    table  max |diff|   pass-band ripple   stop band   pass edge / stop edge (of the oversampled rate)
    A      4.7e-08      +-0.025 dB         -57.1 dB    0.028342 / 0.039684
    B      2.4e-07      +-0.038 dB         -53.7 dB    0.026039 / 0.036459
    C      4.6e-07      +-0.017 dB         -46.9 dB    0.057294 / 0.067706
    D      1.4e-07      +-0.0052 dB        -56.9 dB    0.118487 / 0.131512

The pass-band ripple peak to peak is 0.050, 0.077, 0.033 and 0.010 dB. The response stays
within that band up to the pass edge and then rolls off; at the nominal pass edges (0.029,
0.0268, 0.0579 and 0.119) it is down by a little more than the ripple, see the printed
summary. What remains of the differences comes from the remez implementation and its
grid, not from the filters' parameters.
"""

import argparse
import math
import os
import sys

import numpy as np
from scipy import signal
from scipy.optimize import minimize

TAPS = 256
GRID_DENSITY = 16

# name, oversampled rate (Hz), pass edge (Hz), stop edge (Hz), stop-band weight,
# gain (sum of taps), nominal pass edge, nominal stop edge, nominal ripple (+- dB),
# nominal stop-band level (dB), reference taps 0..3, reference taps 124..127
TABLES = [
    dict(name="A", comment="up to 44100 Hz, 16 x oversampled", rate=16 * 44100.0,
         passHz=19997.844, stopHz=28001.152, weight=2.1196164,
         gain=0.9971113003694516, nominalPass=0.029, nominalStop=0.0396, ripple=0.05, stopDb=-57.1,
         head=[0.000773512482494033, 0.00018898173247606817, 0.0001972986705144473, 0.00019479087745496364],
         centre=[0.06143019621446598, 0.06438850445432534, 0.06640760269189287, 0.06743141622125218]),
    dict(name="B", comment="above 44100 up to 48000 Hz, 16 x oversampled", rate=16 * 48000.0,
         passHz=19997.83, stopHz=28000.24, weight=2.12438,
         gain=0.9956283715356075, nominalPass=0.0268, nominalStop=0.0364, ripple=0.08, stopDb=-53.6,
         head=[0.0005227980103290682, -0.0008192825645556271, -0.0005461014710524257, -0.0004541117725223089],
         centre=[0.05724536520372441, 0.05955078543090798, 0.06111847717109973, 0.06191182119006574]),
    dict(name="C", comment="above 48000 up to 96000 Hz, 8 x oversampled", rate=8 * 96000.0,
         passHz=44001.72, stopHz=51997.89, weight=0.42472,
         gain=0.9980966327401471, nominalPass=0.0579, nominalStop=0.0676, ripple=0.03, stopDb=-46.9,
         head=[0.0018559171883757875, -0.0007392787196800164, -0.0006625265713234496, -0.0006128219999194536],
         centre=[0.08919460563091983, 0.1061083082538071, 0.11833314611741086, 0.12474352766711547]),
    dict(name="D", comment="above 96000 Hz, 4 x oversampled", rate=4 * 192000.0,
         passHz=90998.19, stopHz=101001.35, weight=0.42364,
         gain=0.9994018485827472, nominalPass=0.119, nominalStop=0.1315, ripple=0.01, stopDb=-56.9,
         head=[0.0004372449371010223, -0.00045206940513822265, -0.00029831770988615646, -0.00015541774388261694],
         centre=[0.03421368479507499, 0.11731234733258596, 0.19621474152971127, 0.24414886206242195]),
]

REFERENCE_INDICES = [0, 1, 2, 3, 124, 125, 126, 127]


def design_raw(passEdge, stopEdge, weight):
    """Equiripple low-pass, edges as fractions of the sampling rate."""
    return signal.remez(TAPS, [0.0, passEdge, stopEdge, 0.5], [1.0, 0.0], weight=[1.0, weight],
                        fs=1.0, grid_density=GRID_DENSITY, maxiter=500)


def scale_to_gain(h, gain):
    """Makes h exactly symmetric and scales it so that its entries sum to gain."""
    h = 0.5 * (h + h[::-1])
    h = h * (gain / math.fsum(h))
    for _ in range(8):
        residue = gain - math.fsum(h)
        if residue == 0.0:
            break
        h[TAPS // 2 - 1] += residue / 2.0
        h[TAPS // 2] += residue / 2.0
    # Summed in order, as a reader of the table would, the result should still be the gain.
    return h


def design(table):
    h = design_raw(table["passHz"] / table["rate"], table["stopHz"] / table["rate"], table["weight"])
    return scale_to_gain(h, table["gain"])


def reference(table):
    return np.array(table["head"] + table["centre"])


def fit(table):
    """Searches pass edge, stop edge and weight for the closest match to the reference taps."""
    target = reference(table)
    rate = table["rate"]

    def cost(x):
        try:
            h = design_raw(x[0] / rate, x[1] / rate, math.exp(x[2]))
        except Exception:
            return 1e6
        h = h * (table["gain"] / h.sum())
        return float(np.sum((h[REFERENCE_INDICES] - target) ** 2)) * 1e10

    best = None
    for start in (table["passHz"], round(table["passHz"], -3)):
        for w in (table["weight"], 0.5 * table["weight"], 2.0 * table["weight"]):
            r = minimize(cost, [start, round(table["stopHz"], -3), math.log(w)], method="Nelder-Mead",
                         options=dict(xatol=1e-9, fatol=1e-14, maxiter=4000))
            if best is None or r.fun < best.fun:
                best = r
    table["passHz"], table["stopHz"], table["weight"] = best.x[0], best.x[1], math.exp(best.x[2])


def response_db(h, frequencies):
    n = np.arange(len(h))
    H = np.exp(-2j * np.pi * np.outer(frequencies, n)) @ h
    return 20.0 * np.log10(np.maximum(np.abs(H), 1e-300))


def summary(table, h):
    rate = table["rate"]
    passEdge, stopEdge = table["passHz"] / rate, table["stopHz"] / rate
    diff = np.max(np.abs(h[REFERENCE_INDICES] - reference(table)))
    passBand = response_db(h, np.linspace(0.0, passEdge, 4001))
    stopBand = response_db(h, np.linspace(stopEdge, 0.5, 20001))
    atNominalPass = response_db(h, np.array([table["nominalPass"]]))[0]
    atNominalStop = np.max(response_db(h, np.linspace(table["nominalStop"], 0.5, 20001)))
    asymmetry = np.max(np.abs(h - h[::-1]))
    lines = [
        "table %s (%s)" % (table["name"], table["comment"]),
        "  edges %.6f / %.6f of %.0f Hz (%.2f / %.2f Hz), stop weight %.7g, grid density %d"
        % (passEdge, stopEdge, rate, table["passHz"], table["stopHz"], table["weight"], GRID_DENSITY),
        "  reference taps: max |diff| %.3g" % diff,
        "  sum %.17g (wanted %.17g), asymmetry %.3g" % (math.fsum(h), table["gain"], asymmetry),
        "  pass band %+.4f .. %+.4f dB (nominal +-%.2f dB), at nominal pass edge %.4f: %+.3f dB"
        % (passBand.min(), passBand.max(), table["ripple"], table["nominalPass"], atNominalPass),
        "  stop band %.2f dB from %.6f, %.2f dB from nominal stop edge %.4f (nominal %.1f dB)"
        % (stopBand.max(), stopEdge, atNominalStop, table["nominalStop"], table["stopDb"]),
    ]
    return "\n".join(lines)


def write_cpp(path, designs):
    out = []
    out.append("// Generated by scripts/design_truepeak_tables.py -- do not edit by hand.")
    out.append("// Regenerate from the project root with:")
    out.append("//     /usr/bin/python3 scripts/design_truepeak_tables.py")
    out.append("// (needs numpy and scipy). The script explains the design and prints how it measures.")
    out.append("")
    out.append('#include "measure/TruePeakProcessor.h"')
    out.append("")
    out.append("namespace truepeak")
    out.append("{")
    for i, (table, h) in enumerate(designs):
        rate = table["rate"]
        out.append("// %s: equiripple low-pass, pass edge %.6f, stop edge %.6f of the oversampled rate."
                   % (table["comment"], table["passHz"] / rate, table["stopHz"] / rate))
        out.append("const double prototype%s[256] = {" % table["name"])
        for row in range(0, TAPS, 4):
            out.append("    " + " ".join("%.17g," % v for v in h[row:row + 4]))
        out.append("};")
        if i + 1 < len(designs):
            out.append("")
    out.append("} // namespace truepeak")
    out.append("")
    text = "\n".join(out)
    with open(path, "w") as f:
        f.write(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="print the summary, write nothing")
    parser.add_argument("--fit", action="store_true", help="re-fit edges and weights to the reference taps")
    parser.add_argument("--output", default=None, help="output file (default measure/TruePeakTables.cpp)")
    args = parser.parse_args()

    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    output = args.output or os.path.join(root, "measure", "TruePeakTables.cpp")

    designs = []
    for table in TABLES:
        if args.fit:
            fit(table)
        h = design(table)
        # Round trip through the printed form, so the summary describes what is written.
        h = np.array([float("%.17g" % v) for v in h])
        designs.append((table, h))
        print(summary(table, h))

    if not args.check:
        write_cpp(output, designs)
        print("wrote", output)


if __name__ == "__main__":
    sys.exit(main())
