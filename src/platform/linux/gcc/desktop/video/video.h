// Video output of the Linux desktop.  The terminal stays usable while images
// are shown on the desktop background, so the output is always in text mode
// as far as the message channels and the progress indicator are concerned.
#pragma once

int video_is_text();     // always 1
void video_force_text(); // nothing to switch back on the desktop
