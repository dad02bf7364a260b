#include "core/message_common.h"

#include "core/xmain.h"
#include "core/xstring.h"
#include "file/config.h"

#include <cstdio>

void message_format(char *buffer, const char *format, std::va_list args) {
    std::vsnprintf(buffer, MESSAGE_BUFFER_SIZE, format, args);
}

std::string message_line(const char *channel_ident, const char *ident, const char *file, int line,
                         const char *message) {
    const char *format = "%s/%s/%s [%s(%d)]: %s\n";
    // "<annonymous>" is the documented placeholder, kept verbatim.
    ident = ident ? ident : "<annonymous>";
    int length = std::snprintf(nullptr, 0, format, application_name, channel_ident, ident, file,
                               line, message);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::snprintf(text.data(), text.size() + 1, format, application_name, channel_ident, ident,
                  file, line, message);
    return text;
}

bool message_write_line(std::FILE *stream, const char *channel_ident, const char *ident,
                        const char *file, int line, const char *message) {
    return std::fputs(message_line(channel_ident, ident, file, line, message).c_str(), stream) !=
           EOF;
}

const char *message_log_append(message_log &log, const char *text) {
    if (!log.deleted) {
        log.deleted = true;
        std::remove(log.filename);
    }
    std::FILE *stream = std::fopen(log.filename, "a");
    if (!stream)
        return "NULL != (stream = fopen(logfile, \"a\"))";
    if (std::fputs(text, stream) == EOF) {
        std::fclose(stream);
        return "EOF != fputs(text, stream)";
    }
    if (std::fflush(stream) == EOF) {
        std::fclose(stream);
        return "EOF != fflush(stream)";
    }
    if (std::fclose(stream) == EOF)
        return "EOF != fclose(stream)";
    return nullptr;
}

const char *message_config_step(message_config &config) {
    if (config.done || !config_active())
        return nullptr;
    config.done = true;
    return config_get("*.message.handling", config.type_key, 0, 0, nullptr);
}

#include "platform/linux/gcc/desktop/keyboard.h"
#include "platform/linux/gcc/desktop/video/video.h"

namespace {

// A null format or file is a caller's fault, reported from the channel module.
bool arguments_valid(const message_channel &channel, const char *file, const char *format) {
    if (!format) {
        xerror(channel.source_file, __LINE__, channel.ident, "xassert(%s) failed", "format");
        return false;
    }
    if (!file) {
        xerror(channel.source_file, __LINE__, channel.ident, "xassert(%s) failed", "file");
        return false;
    }
    return true;
}

// The one-time configuration step; true when it moved the channel to another
// target, which then takes this message too.
bool configured_elsewhere(message_channel &channel, xmessage_fn self) {
    const char *name = message_config_step(channel.config);
    if (!name)
        return false;
    channel.override(name);
    return *channel.pointer != self;
}

void forward(message_channel &channel, const char *file, int line, const char *ident,
             const char *message) {
    (*channel.pointer)(file, line, ident, "%s", message);
}

// Formats the message and handles the common prologue; false when the target
// has nothing more to do.
bool prepare(message_channel &channel, xmessage_fn self, const char *file, int line,
             const char *ident, const char *format, std::va_list args, char *message) {
    if (!arguments_valid(channel, file, format))
        return false;
    message_format(message, format, args);
    if (configured_elsewhere(channel, self)) {
        forward(channel, file, line, ident, message);
        return false;
    }
    return true;
}

void check_console(message_channel &channel, bool ok, const char *statement) {
    if (!ok)
        xerror(channel.source_file, __LINE__, channel.ident, "xassert(%s) failed", statement);
}

} // namespace

void message_channel_log(message_channel &channel, xmessage_fn self, const char *file, int line,
                         const char *ident, const char *format, std::va_list args) {
    char message[MESSAGE_BUFFER_SIZE];
    if (!prepare(channel, self, file, line, ident, format, args, message))
        return;
    const std::string text = message_line(channel.ident, ident, file, line, message);
    if (const char *failed = message_log_append(channel.log, text.c_str()))
        xerror(channel.source_file, __LINE__, channel.ident, "xassert(%s) failed", failed);
}

void message_channel_con(message_channel &channel, xmessage_fn self, const char *file, int line,
                         const char *ident, const char *format, std::va_list args) {
    char message[MESSAGE_BUFFER_SIZE];
    if (!prepare(channel, self, file, line, ident, format, args, message))
        return;
    check_console(channel, message_write_line(stderr, channel.ident, ident, file, line, message),
                  "0 <= fprintf(stderr, ...)");
    check_console(channel, std::fflush(stderr) != EOF, "EOF != fflush(stderr)");
}

void message_channel_cok(message_channel &channel, xmessage_fn self, const char *file, int line,
                         const char *ident, const char *format, std::va_list args) {
    char message[MESSAGE_BUFFER_SIZE];
    if (!prepare(channel, self, file, line, ident, format, args, message))
        return;
    if (!video_is_text())
        return;
    check_console(channel, message_write_line(stderr, channel.ident, ident, file, line, message),
                  "0 <= fprintf(stderr, ...)");
    check_console(channel, std::fflush(stderr) != EOF, "EOF != fflush(stderr)");
    if (keyb_getch() == 27)
        xabort_internal__("user pressed escape", file, line);
}

void message_channel_nil(message_channel &channel, const char *file, int, const char *format) {
    arguments_valid(channel, file, format);
}

void message_channel_aux(message_channel &channel, xmessage_fn self, const char *file, int line,
                         const char *ident, const char *format, std::va_list args) {
    char message[MESSAGE_BUFFER_SIZE];
    if (!prepare(channel, self, file, line, ident, format, args, message))
        return;
    if (channel.aux_sink(file, line, message) == 1)
        xerror(channel.source_file, __LINE__, channel.ident, "user aborted");
}

void message_channel_override(message_channel &channel, const message_target<xmessage_fn> *targets,
                              const char *name) {
    if (const char *configured = message_config_step(channel.config))
        channel.override(configured);
    if (!name)
        return;
    const auto *target = message_find_target(targets, name);
    if (!target) {
        xerror(channel.source_file, __LINE__, channel.ident, "unknown key given '%s' for override",
               name);
        return;
    }
    *channel.pointer = target->function;
}
