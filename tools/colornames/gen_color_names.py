#!/usr/bin/env python3
"""Generate the named-colour table src/gfx/2d/bitmap/color_names.inc.

Usage:
    gen_color_names.py RGB_TXT [OUTPUT]

RGB_TXT is the X Window System colour-name list "rgb.txt".  On Debian it is
installed by the package x11-common as /usr/share/X11/rgb.txt (see
LICENSE-SOURCE.txt beside this script).  OUTPUT defaults to
src/gfx/2d/bitmap/color_names.inc relative to the repository root.

Regenerate with:
    apt-get install x11-common
    python3 tools/colornames/gen_color_names.py /usr/share/X11/rgb.txt

The output is a list of initializer rows, one per line,
    {"aliceblue", 0.941176, 0.972549, 1.0},
meant to be included inside the colour module's table:
    static constexpr color_name color_list[] = {
    #include "color_names.inc"
    };

How the table is built from the list
------------------------------------
Each line of rgb.txt is "R G B name", the name possibly holding blanks and
mixed case ("alice blue", "AliceBlue").  The table wants lower-case names
without blanks, so every source name gives:

  * its packed form: lower-cased, blanks removed ("aliceblue");
  * for names written with blanks, also an underscore form: lower-cased,
    blanks replaced by "_" ("alice_blue", "light_cyan", "yellow_green").

Packed forms that coincide ("alice blue" and "AliceBlue") are one row.

Which entries are taken (this gives exactly 738 rows):

  1. The body of the list only.  The list is laid out as named colours,
     then their numbered variants, and ends with the grey ramp
     "gray0".."gray100" / "grey0".."grey100".  Lines after the ramp
     (in the list as shipped: "dark grey", "dark gray", "dark blue",
     "dark cyan", "dark magenta", "dark red", "light green" with their
     packed spellings) are a later appendix of aliases and are left out.
  2. A name is at most MAX_NAME_LEN (20) characters: the table's names fit
     a 21-byte field.  With the list as shipped this drops the single
     underscore form "light_goldenrod_yellow"; its packed form
     "lightgoldenrodyellow" (20 characters) stays.

Values: each component is the 8-bit value divided by 255, printed rounded
to six decimals with trailing zeros dropped (at least one decimal kept), so
"1.0", "0.8" and "0.941176".

Rows whose values are this table's own rather than the list's:
  * "gray" and "grey" are 192/255 (0.752941), the lighter mid grey this
    program has always used, not the list's 190;
  * "red" is 204/255, 0, 0 (0.8, 0, 0), the program's softer red.  The
    numbered "red1".."red4" keep the list's values.

Order: names are sorted by a key in which
  * a trailing decimal number compares as a number, and a name without a
    number comes before its numbered variants ("grey", "grey0", "grey1",
    "grey2", ..., "grey100"; "antiquewhite", "antiquewhite1" .. "4");
  * "_" sorts after every letter, so each underscore form follows all the
    packed names sharing its prefix ("yellow", "yellow1".."yellow4",
    "yellowgreen", "yellow_green").
This makes "aliceblue" the first row and "yellow_green" the last.

The script checks the row count and a set of known rows, and exits with a
non-zero status (writing nothing) when any check fails.
"""

import os
import re
import sys

EXPECTED_ROWS = 738
MAX_NAME_LEN = 20

# Values kept from this table's own history rather than the source list.
OVERRIDES = {
    "gray": (192, 192, 192),
    "grey": (192, 192, 192),
    "red": (204, 0, 0),
}

# (name, (r, g, b) as printed) rows that must come out exactly so.
TELLING_ROWS = {
    "aliceblue": ("0.941176", "0.972549", "1.0"),
    "yellow_green": ("0.603922", "0.803922", "0.196078"),
    "black": ("0.0", "0.0", "0.0"),
    "white": ("1.0", "1.0", "1.0"),
    "gray": ("0.752941", "0.752941", "0.752941"),
    "grey": ("0.752941", "0.752941", "0.752941"),
    "grey50": ("0.498039", "0.498039", "0.498039"),
    "red": ("0.8", "0.0", "0.0"),
    "antiquewhite": None,
    "antiquewhite1": None,
    "antiquewhite4": None,
    "light_cyan": None,
    "lightcyan": None,
    "grey0": ("0.0", "0.0", "0.0"),
    "grey100": ("1.0", "1.0", "1.0"),
}

RAMP_END = re.compile(r"^gr[ae]y100$")
TRAILING_NUMBER = re.compile(r"^(.*?)(\d+)$")


def fail(message):
    sys.stderr.write("gen_color_names: %s\n" % message)
    sys.exit(1)


def read_source(path):
    """Return [(source name, r, g, b)] from an rgb.txt style list."""
    entries = []
    with open(path, "r", encoding="latin-1") as f:
        for lineno, line in enumerate(f, 1):
            stripped = line.strip()
            if not stripped or stripped.startswith("!") or stripped.startswith("#"):
                continue
            parts = stripped.split()
            if len(parts) < 4:
                fail("%s:%d: malformed line %r" % (path, lineno, line))
            try:
                rgb = tuple(int(p) for p in parts[:3])
            except ValueError:
                fail("%s:%d: bad colour value in %r" % (path, lineno, line))
            if any(c < 0 or c > 255 for c in rgb):
                fail("%s:%d: colour value out of range in %r" % (path, lineno, line))
            entries.append((" ".join(parts[3:]),) + rgb)
    return entries


def body_of_list(entries):
    """Drop the appendix that follows the grey ramp at the end of the list."""
    last_ramp = None
    for i, (name, _, _, _) in enumerate(entries):
        if RAMP_END.match(name.lower().replace(" ", "")):
            last_ramp = i
    if last_ramp is None:
        fail("source list has no grey ramp ending in gray100/grey100")
    return entries[: last_ramp + 1]


def build_rows(entries):
    """Map table name -> (r, g, b) in 0..255 following the rules above."""
    rows = {}

    def add(name, rgb):
        if len(name) > MAX_NAME_LEN:
            return
        if name in rows and rows[name] != rgb:
            fail("name %r appears with two values %r and %r" % (name, rows[name], rgb))
        rows[name] = rgb

    for name, r, g, b in entries:
        lower = name.lower()
        add(lower.replace(" ", ""), (r, g, b))
        if " " in lower:
            add(lower.replace(" ", "_"), (r, g, b))

    for name, rgb in OVERRIDES.items():
        if name not in rows:
            fail("override target %r missing from the source list" % name)
        rows[name] = rgb
    return rows


def sort_key(name):
    m = TRAILING_NUMBER.match(name)
    if m:
        stem, number = m.group(1), int(m.group(2))
    else:
        stem, number = name, -1
    # "~" is above every letter and digit in ASCII: underscore forms follow.
    return (stem.replace("_", "~"), number)


def fmt(component):
    text = "%.6f" % (component / 255.0)
    text = text.rstrip("0")
    if text.endswith("."):
        text += "0"
    return text


def check(ordered, rows):
    problems = []
    if len(ordered) != EXPECTED_ROWS:
        problems.append("expected %d rows, got %d" % (EXPECTED_ROWS, len(ordered)))
    if ordered and ordered[0] != "aliceblue":
        problems.append("first row is %r, not 'aliceblue'" % ordered[0])
    if ordered and ordered[-1] != "yellow_green":
        problems.append("last row is %r, not 'yellow_green'" % ordered[-1])
    for name, want in TELLING_ROWS.items():
        if name not in rows:
            problems.append("row %r missing" % name)
            continue
        if want is not None:
            got = tuple(fmt(c) for c in rows[name])
            if got != want:
                problems.append("row %r is %r, expected %r" % (name, got, want))
    for n in range(101):
        if "grey%d" % n not in rows:
            problems.append("numbered grey 'grey%d' missing" % n)
    for name in ordered:
        if name != name.lower() or " " in name or not re.match(r"^[a-z0-9_]+$", name):
            problems.append("bad name %r" % name)
    if problems:
        fail("check failed:\n  " + "\n  ".join(problems))


def main(argv):
    if len(argv) not in (2, 3):
        sys.stderr.write(__doc__)
        return 2
    source = argv[1]
    if len(argv) == 3:
        output = argv[2]
    else:
        root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
        output = os.path.join(root, "src", "gfx", "2d", "bitmap", "color_names.inc")

    rows = build_rows(body_of_list(read_source(source)))
    ordered = sorted(rows, key=sort_key)
    check(ordered, rows)

    lines = [
        "// Named colours: (name, red, green, blue), components in 0..1.\n",
        "// Generated by tools/colornames/gen_color_names.py; do not edit by hand.\n",
    ]
    for name in ordered:
        r, g, b = rows[name]
        lines.append('{"%s", %s, %s, %s},\n' % (name, fmt(r), fmt(g), fmt(b)))
    with open(output, "w", encoding="ascii", newline="\n") as f:
        f.writelines(lines)
    sys.stdout.write("wrote %d colours to %s\n" % (len(ordered), output))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
