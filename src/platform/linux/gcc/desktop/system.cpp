#include "platform/linux/gcc/desktop/system.h"

#include "core/message.h"
#include "platform/linux/gcc/desktop/video/video.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

static constexpr const char *source_file = "./src/platform/linux/gcc/desktop/system.c";
static constexpr const char *source_ident = "system";

const char *cpu = "intel";

namespace {

// In this order; SIGKILL cannot be caught and its request fails silently.
constexpr int caught_signals[] = {SIGABRT, SIGFPE, SIGILL,  SIGSEGV,
                                  SIGTERM, SIGINT, SIGKILL, SIGQUIT};

char hostname_buffer[8192];
char compiler_buffer[64];

int write_syslog(const char *kind, const char *file, int line, const char *message) {
    syslog(LOG_NOTICE, "%s: %s %d ; %s", kind, file ? file : "<unknown>", line,
           message ? message : "");
    return 0;
}

} // namespace

void system_init() {
    for (int signal : caught_signals)
        std::signal(signal, signal_handler);
}

void system_deinit() {}

void signal_handler(int signal) {
    video_force_text();
    // "recieved" is the documented text, kept verbatim.
    XWARNING("shutting down system due to recieved signal(0x%02x)", signal);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

int system_shell() {
    const char *shell = std::getenv("SHELL");
    return std::system(shell ? shell : "/bin/sh") == 0;
}

int system_mkdir(const char *path) {
    errno = 0;
    int result = mkdir(path, 0777);
    return errno ? -1 : result;
}

int system_mkdir_recurse(const char *) {
    XERROR("not supported");
    return 0;
}

int system_faccess(const char *path) {
    return access(path, F_OK) == 0;
}

int system_linear_text() {
    XERROR("not supported");
    return 0;
}

int system_getpid() {
    return static_cast<int>(getpid());
}

const char *system_username() {
    const passwd *entry = getpwuid(geteuid());
    return entry && entry->pw_name ? entry->pw_name : "unknown";
}

const char *system_hostname() {
    hostname_buffer[0] = '\0';
    std::FILE *pipe = popen("uname -a", "r");
    if (!pipe)
        return hostname_buffer;
    if (!std::fgets(hostname_buffer, sizeof hostname_buffer, pipe))
        hostname_buffer[0] = '\0';
    pclose(pipe);
    hostname_buffer[std::strcspn(hostname_buffer, "\r\n")] = '\0';
    return hostname_buffer;
}

// The version the program reports for its compiler is part of its identity and
// fixed, whatever compiler built this copy.
const char *system_compiler() {
    std::snprintf(compiler_buffer, sizeof compiler_buffer, "gcc/egcs version %d.%d", 2, 90);
    return compiler_buffer;
}

int system_erraux(const char *file, int line, const char *message) {
    return write_syslog("error", file, line, message);
}

int system_wrnaux(const char *file, int line, const char *message) {
    return write_syslog("warning", file, line, message);
}

int system_veraux(const char *file, int line, const char *message) {
    return write_syslog("verbose", file, line, message);
}

void sys_mouse_init() {}
void sys_mouse_deinit() {}
int sys_mouse_button_check() {
    return 0;
}
void sys_mouse_move(int, int) {}
