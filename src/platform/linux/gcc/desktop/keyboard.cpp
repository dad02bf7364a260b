#include "platform/linux/gcc/desktop/keyboard.h"

#include "core/message.h"

#include <cstdio>

static constexpr const char *source_file = "./src/platform/linux/gcc/desktop/keyboard.c";
static constexpr const char *source_ident = "keyboard";

const char *keyb_init() {
    return nullptr;
}
void keyb_deinit() {}

// The standard input cannot be polled without changing the terminal's mode,
// which a background program must not do: no key is ever waiting.
int keyb_kbhit() {
    return 0;
}

int keyb_getch() {
    int c = std::getchar();
    return c == EOF ? -1 : c;
}

void keyb_flush() {
    while (keyb_kbhit())
        keyb_getch();
}

int keyb_wait(const char *prompt) {
    XVERBOSE("%s", prompt ? prompt : "hit (almost) any key to continue...");
    return keyb_getch();
}
