#include "platform/linux/gcc/desktop/video/video.h"

// The desktop output never takes the terminal away.
int video_is_text() {
    return 1;
}
void video_force_text() {}
