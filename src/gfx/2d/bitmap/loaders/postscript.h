// The writer behind the three PostScript savers ("ascii-postscript",
// "binary-postscript", "compressed-postscript").
//
// A 24-bpp bitmap becomes a one-page encapsulated PostScript document whose
// bounding box is the picture, one pixel to a point, drawn with colorimage
// from data that follows the operator in the file:
// - ascii_hex: two hex digits a byte, lines of 72 digits (language level 1);
// - binary: the bytes as they are (level 1; the file is then not 7-bit clean);
// - rle_ascii85: PostScript run-length coding, then base-85 text, decoded by
//   the RunLengthDecode and ASCII85Decode filters (level 2).
// Rendered at 72 dots per inch, device pixel (x, y) is bitmap pixel (x, y).
//
// `postscript_save` returns 1 when the whole file was written and closed, 0
// for another depth than 24, an unopenable file or a failed write (the last
// with a warning naming the file).
#pragma once

struct bitmap;

enum class postscript_encoding { ascii_hex, binary, rle_ascii85 };

// `driver_name` and `comments` label the progress indicator.
int postscript_save(const char *filename, const bitmap *image, postscript_encoding encoding,
                    const char *driver_name, const char *comments);
