// The overwrite question and the failure reports shared by the checked stream
// drivers.
#include "file/streamio/checked.h"

#include "core/message.h"

#include <cstdio>

static constexpr const char *source_file = "./src/file/streamio/checked.c";
static constexpr const char *source_ident = "streamio::checked";

namespace {

// One sticky answer at a time: the question channel refuses two marked
// defaults, so taking a new standing answer drops the others.
void stick(overwrite_guard &guard, int overwrite_guard::*flag) {
    guard.always = guard.never = guard.aback = 0;
    guard.*flag = 1;
}

int ask_overwrite(overwrite_guard &guard, const char *name) {
    const question_option answers[] = {
        {"yes", nullptr, 'y'},
        {"no", nullptr, 'n'},
        {"backup and overwrite", nullptr, 'b'},
        {"always", &guard.always, 'a'},
        {"never", &guard.never, 'e'},
        {"always backup and overwrite", &guard.aback, 'c'},
        {nullptr, nullptr, 0},
    };
    return xquestion(guard.source_file, __LINE__, guard.source_ident, answers,
                     "%s: overwrite file '%s' ?", guard.driver_name, name);
}

} // namespace

int streamio_overwrite_access(overwrite_guard &guard, const char *name, const char *mode) {
    if (!name || !mode)
        return 0;
    if (streamio_is_append(mode))
        return 1;
    if (!streamio_is_write(mode))
        return streamio_access(name);
    if (!streamio_access(name))
        return 1;
    switch (ask_overwrite(guard, name)) {
    case 'y':
        return 1;
    case 'a':
        stick(guard, &overwrite_guard::always);
        return 1;
    case 'n':
        return 0;
    case 'e':
        stick(guard, &overwrite_guard::never);
        return 0;
    case 'b':
        streamio_backup(name);
        return 1;
    case 'c':
        stick(guard, &overwrite_guard::aback);
        streamio_backup(name);
        return 1;
    default:
        XERROR("xassert(%s) failed", "0");
        return 1;
    }
}

namespace {

xmessage_fn channel(io_report level) {
    switch (level) {
    case io_report::warning:
        return xwarning;
    case io_report::error:
        return xerror;
    case io_report::none:
        break;
    }
    return nullptr;
}

} // namespace

void cstream_report(const cstream_policy &policy, io_report level, int line, const char *operation,
                    const streamio_stream *stream) {
    xmessage_fn report = channel(level);
    if (!report)
        return;
    char text[64];
    std::snprintf(text, sizeof text, "%s%s() IO failure on file %%s(%%s)", policy.prefix,
                  operation);
    // "<annonymous>" is the documented placeholder; its spelling is kept verbatim.
    report(policy.source_file, line, policy.source_ident, text,
           stream->name ? stream->name : "<annonymous>", stream->mode ? stream->mode : "");
}

void cstream_report_invalid_ungetc(const cstream_policy &policy, int line) {
    if (xmessage_fn report = channel(policy.failures))
        report(policy.source_file, line, policy.source_ident, "ungetc() called on invalid stream");
}

int placeholder_report(const placeholder_policy &policy, const char *name) {
    xwarning(policy.source_file, policy.line, policy.source_ident, policy.message, name);
    return 0;
}
