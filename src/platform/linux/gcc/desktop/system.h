// System services of the Linux desktop: signal handling, the shell, a few
// file-system calls, host/user/compiler identity and the auxiliary message
// sink (the system log).
#pragma once

// Processor the program was built for, printed at start-up.
extern const char *cpu;

// Installs `signal_handler` for the fatal and terminating signals.
void system_init();
void system_deinit();

// Switches the video output back to text mode, warns, restores the default
// action and raises the signal again so that the process ends by it.
void signal_handler(int signal);

// Runs $SHELL (or /bin/sh) through the system shell; 1 when its status is 0.
int system_shell();
// Creates a directory (mode 0777 before the umask); -1 when errno was set.
int system_mkdir(const char *path);
// Not supported on this platform: reports an error and returns 0.
int system_mkdir_recurse(const char *path);
// 1 when the path exists.
int system_faccess(const char *path);
// Not supported on this platform: reports an error and returns 0.
int system_linear_text();

int system_getpid();
// Login name of the effective user, or "unknown".
const char *system_username();
// First line of "uname -a", kept in one static buffer that every call rewrites.
const char *system_hostname();
// The compiler identification, fixed at build time.
const char *system_compiler();

// Auxiliary message sinks (the system log).  A result of 1 from the warning or
// verbose sink means that the user aborted.
int system_erraux(const char *file, int line, const char *message);
int system_wrnaux(const char *file, int line, const char *message);
int system_veraux(const char *file, int line, const char *message);

// The desktop has no mouse support.
void sys_mouse_init();
void sys_mouse_deinit();
int sys_mouse_button_check();
void sys_mouse_move(int x, int y);
