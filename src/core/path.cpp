#include "core/path.h"

#include <cstring>

char *path_unix(char *path) {
    if (!path)
        return path;
    for (char *c = path; *c; ++c)
        if (*c == '\\')
            *c = '/';
    return path;
}

const char *path_get_basename(const char *path) {
    const char *base = path;
    for (const char *c = path; *c; ++c)
        if (*c == '/' || *c == '\\')
            base = c + 1;
    return base;
}

const char *path_last_suffix(const char *path) {
    const char *base = path_get_basename(path);
    const char *dot = std::strrchr(base, '.');
    if (!dot || dot == base)
        return base + std::strlen(base);
    return dot + 1;
}
