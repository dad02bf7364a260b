#!/usr/bin/env python3
"""Build the program's two bitmap fonts from BDF faces.

Usage:
    make_fonts.py BUILTIN_BDF FILE_BDF [BUILTIN_INC [FONT_FILE]]

BUILTIN_BDF  an 8-pixel-wide face of at most 14 rows for the built-in font
             (8 x 14 cell); we use the public-domain 8x13 fixed face.
FILE_BDF     an 8-pixel-wide face of at most 16 rows for the shipped font
             file (8 x 16 cell); we use the 8x16 fixed face.
BUILTIN_INC  default src/gfx/2d/bitmap/bitfont_builtin.inc
FONT_FILE    default data/fonts/lumivane8x16.fnt

Both faces come from the Debian package xfonts-base in PCF form; pcf2bdf
(Debian package pcf2bdf) turns them into BDF.  To regenerate:

    apt-get install xfonts-base pcf2bdf
    pcf2bdf -o /tmp/8x13.bdf /usr/share/fonts/X11/misc/8x13-ISO8859-1.pcf.gz
    pcf2bdf -o /tmp/8x16.bdf /usr/share/fonts/X11/misc/8x16.pcf.gz
    python3 tools/font/make_fonts.py /tmp/8x13.bdf /tmp/8x16.bdf

See LICENSE-SOURCE.txt beside this script for the faces' terms.

Outputs
-------
bitfont_builtin.inc: 256 glyph slots x 16 bytes, one byte per row, bit 0
    the LEFTMOST pixel (the order the drawing loop tests bits in).  Only
    rows 0..13 are used; rows 14 and 15 are zero.  Written as hex byte
    literals, one glyph per line, for
        static unsigned char default_font[4096] = {
        #include "bitfont_builtin.inc"
        };
lumivane8x16.fnt: exactly 4096 bytes, 256 glyphs x 16 rows, one byte per
    row, bit 7 the LEFTMOST pixel, no header.  The loader reverses the bits
    of every byte to get the drawing layout.

Glyph placement: the face's cell (FONT_ASCENT + FONT_DESCENT rows) is
placed in the slot with the spare rows added at the top, so a 13-row face
gets one blank row above it in the 14-row cell; the baseline keeps the same
distance from the bottom of the cell.  Codes the face lacks (127..159 in
the Latin-1 faces) stay blank.

The script checks the sizes, that every printable ASCII glyph (33..126) has
pixels and that the space is blank, and renders the glyph "L" in both
outputs' drawing orientation to make sure it is upright and not mirrored;
it exits non-zero (writing nothing) if a check fails.
"""

import os
import sys

SLOTS = 256
SLOT_ROWS = 16
FONT_FILESIZE = SLOTS * SLOT_ROWS
CELL_WIDTH = 8
BUILTIN_ROWS = 14
FILE_ROWS = 16


def fail(message):
    sys.stderr.write("make_fonts: %s\n" % message)
    sys.exit(1)


def read_bdf(path):
    """Return (cell_rows, {code: [[bool]*8 for each cell row]}) of a BDF face.

    Only codes 0..255 are kept.  Each glyph is laid into a cell of
    CELL_WIDTH x (ascent + descent) pixels, row 0 on top.
    """
    ascent = descent = None
    glyphs = {}
    with open(path, "r", encoding="latin-1") as f:
        lines = [ln.rstrip("\n") for ln in f]
    i = 0
    while i < len(lines):
        words = lines[i].split()
        if not words:
            i += 1
            continue
        key = words[0]
        if key == "FONT_ASCENT":
            ascent = int(words[1])
        elif key == "FONT_DESCENT":
            descent = int(words[1])
        elif key == "STARTCHAR":
            code = None
            bbx = None
            i += 1
            while i < len(lines) and not lines[i].startswith("BITMAP"):
                w = lines[i].split()
                if w and w[0] == "ENCODING":
                    code = int(w[1])
                elif w and w[0] == "BBX":
                    bbx = tuple(int(v) for v in w[1:5])
                i += 1
            if bbx is None:
                fail("%s: glyph near line %d has no BBX" % (path, i + 1))
            i += 1
            bitmap = []
            while i < len(lines) and lines[i].strip() != "ENDCHAR":
                bitmap.append(lines[i].strip())
                i += 1
            if ascent is None or descent is None:
                fail("%s: FONT_ASCENT/FONT_DESCENT missing before the glyphs" % path)
            if code is not None and 0 <= code < SLOTS:
                glyphs[code] = place_glyph(path, code, bbx, bitmap, ascent, descent)
        i += 1
    if ascent is None or descent is None:
        fail("%s: not a BDF font (no FONT_ASCENT/FONT_DESCENT)" % path)
    return ascent + descent, glyphs


def place_glyph(path, code, bbx, bitmap, ascent, descent):
    width, height, xoff, yoff = bbx
    if len(bitmap) != height:
        fail("%s: glyph %d has %d bitmap rows, BBX says %d" % (path, code, len(bitmap), height))
    rows = ascent + descent
    cell = [[False] * CELL_WIDTH for _ in range(rows)]
    top = ascent - (yoff + height)  # cell row of the glyph's first bitmap row
    for r, hexrow in enumerate(bitmap):
        nbits = len(hexrow) * 4
        value = int(hexrow, 16) if hexrow else 0
        for c in range(width):
            if value & (1 << (nbits - 1 - c)):
                y, x = top + r, xoff + c
                if not (0 <= y < rows and 0 <= x < CELL_WIDTH):
                    fail("%s: glyph %d has a pixel outside the 8 x %d cell" % (path, code, rows))
                cell[y][x] = True
    return cell


def build_slots(path, target_rows):
    """256 slots of SLOT_ROWS rows, each row a list of 8 pixels."""
    face_rows, glyphs = read_bdf(path)
    if face_rows > target_rows:
        fail("%s: face has %d rows, more than the %d-row cell" % (path, face_rows, target_rows))
    pad_top = target_rows - face_rows
    blank = [False] * CELL_WIDTH
    slots = []
    for code in range(SLOTS):
        rows = [list(blank) for _ in range(SLOT_ROWS)]
        glyph = glyphs.get(code)
        if glyph is not None:
            for r, row in enumerate(glyph):
                rows[pad_top + r] = list(row)
        slots.append(rows)
    return slots


def pack_leftmost_bit0(row):
    return sum(1 << x for x, on in enumerate(row) if on)


def pack_leftmost_bit7(row):
    return sum(0x80 >> x for x, on in enumerate(row) if on)


def reverse_bits(byte):
    return int("{:08b}".format(byte)[::-1], 2)


def glyph_from_drawing_bytes(data, code, rows):
    """Pixels of a glyph as the drawing loop sees them: bit k is column k."""
    base = code * SLOT_ROWS
    return [[bool(data[base + r] & (1 << k)) for k in range(CELL_WIDTH)] for r in range(rows)]


def render(glyph):
    return "\n".join("".join("#" if on else "." for on in row) for row in glyph)


def check_font(label, drawing, rows):
    """Checks on a 4096-byte table in drawing layout (bit 0 leftmost)."""
    problems = []
    if len(drawing) != FONT_FILESIZE:
        problems.append("%s: %d bytes, expected %d" % (label, len(drawing), FONT_FILESIZE))
        return problems
    for code in range(SLOTS):
        for r in range(rows, SLOT_ROWS):
            if drawing[code * SLOT_ROWS + r]:
                problems.append("%s: glyph 0x%02X row %d should be empty" % (label, code, r))
    if any(drawing[ord(" ") * SLOT_ROWS:(ord(" ") + 1) * SLOT_ROWS]):
        problems.append("%s: the space glyph is not blank" % label)
    for code in range(33, 127):
        if not any(drawing[code * SLOT_ROWS:(code + 1) * SLOT_ROWS]):
            problems.append("%s: printable glyph 0x%02X %r is empty" % (label, code, chr(code)))

    # "L": a stem on the left and its foot as the lowest, widest row.  A
    # mirrored table puts the stem on the right, a flipped one the foot on top.
    glyph = glyph_from_drawing_bytes(drawing, ord("L"), rows)
    pixels = [(x, y) for y, row in enumerate(glyph) for x, on in enumerate(row) if on]
    if not pixels:
        problems.append("%s: glyph 'L' is empty" % label)
    else:
        mean_x = sum(x for x, _ in pixels) / len(pixels)
        lowest = max(y for _, y in pixels)
        widths = [sum(row) for row in glyph]
        if mean_x >= (CELL_WIDTH - 1) / 2.0:
            problems.append("%s: glyph 'L' leans right (mirrored?)\n%s" % (label, render(glyph)))
        if widths[lowest] != max(widths) or widths[lowest] < 4:
            problems.append("%s: glyph 'L' has no foot at the bottom (upside down?)\n%s"
                            % (label, render(glyph)))
    sys.stdout.write("%s, glyph 'L' as drawn:\n%s\n" % (label, render(glyph)))
    return problems


def glyph_comment(code):
    if 32 <= code < 127:
        return "// 0x%02X '%s'" % (code, chr(code))
    return "// 0x%02X" % code


def main(argv):
    if len(argv) not in (3, 4, 5):
        sys.stderr.write(__doc__)
        return 2
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    builtin_out = argv[3] if len(argv) > 3 else os.path.join(
        root, "src", "gfx", "2d", "bitmap", "bitfont_builtin.inc")
    file_out = argv[4] if len(argv) > 4 else os.path.join(
        root, "data", "fonts", "lumivane8x16.fnt")

    builtin_slots = build_slots(argv[1], BUILTIN_ROWS)
    file_slots = build_slots(argv[2], FILE_ROWS)

    builtin = bytes(pack_leftmost_bit0(row) for slot in builtin_slots for row in slot)
    fontfile = bytes(pack_leftmost_bit7(row) for slot in file_slots for row in slot)

    problems = check_font("built-in 8x14", builtin, BUILTIN_ROWS)
    # The file is checked the way the loader reads it: every byte reversed.
    problems += check_font("font file 8x16", bytes(reverse_bits(b) for b in fontfile), FILE_ROWS)
    if problems:
        fail("check failed:\n  " + "\n  ".join(problems))

    lines = [
        "// Built-in 8 x 14 font: 256 glyphs x 16 rows, bit 0 = leftmost pixel.\n",
        "// Generated by tools/font/make_fonts.py; do not edit by hand.\n",
    ]
    for code in range(SLOTS):
        chunk = builtin[code * SLOT_ROWS:(code + 1) * SLOT_ROWS]
        lines.append(", ".join("0x%02X" % b for b in chunk) + ", " + glyph_comment(code) + "\n")
    os.makedirs(os.path.dirname(builtin_out) or ".", exist_ok=True)
    with open(builtin_out, "w", encoding="ascii", newline="\n") as f:
        f.writelines(lines)

    os.makedirs(os.path.dirname(file_out) or ".", exist_ok=True)
    with open(file_out, "wb") as f:
        f.write(fontfile)

    with open(file_out, "rb") as f:
        if len(f.read()) != FONT_FILESIZE:
            fail("%s is not %d bytes" % (file_out, FONT_FILESIZE))
    sys.stdout.write("wrote %s (%d glyphs) and %s (%d bytes)\n"
                     % (builtin_out, SLOTS, file_out, FONT_FILESIZE))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
