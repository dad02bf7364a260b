// Set-up shared by the configuration, token reader, option reader and cookie
// tests: the stream drivers registered as the application registers them, and
// small helpers around the configuration.
#pragma once

#include "file/config.h"
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "support/capture.h"

#include <string>

// Registers the drivers once per test program, in the application's order,
// and makes "saferio" the default.  The two drivers the application leaves
// out come first, so that they are offered a file only after "stdio" (which
// takes all): they stay reachable with ";d=" and never change an ordinary open.
inline void config_test_register_streams() {
    if (streamio_find_driver("saferio"))
        return;
    streamio_driver *order[] = {
        &silent_backupio_driver, &reslogio_driver,
        &nullio_driver,          &debugio_driver,
        &secureio_driver,        &httpio_driver,
        &ftpio_driver,           &telnetio_driver,
        &platformio_driver,      &stdio_driver,
        &safeio_driver,          &saferio_driver,
        &resio_driver,           &single_file_cacheio_driver,
        &latent_cacheio_driver,
    };
    for (streamio_driver *driver : order)
        streamio_register_driver(driver);
    streamio_set_defio(&saferio_driver);
}

// Unloads the configuration when a test ends, without saving it and without
// the "not active" warning.
class config_session {
  public:
    config_session() { config_test_register_streams(); }
    ~config_session() { discard(); }
    config_session(const config_session &) = delete;
    config_session &operator=(const config_session &) = delete;

    // Unloading writes a changed configuration back to the file it came
    // from (a copy in the test's scratch folder); an error on the way is the
    // test's own business, so it is swallowed here.
    static void discard() {
        if (!config_active())
            return;
        message_capture quiet;
        try {
            config_unload();
        } catch (const error_raised &) {
        }
    }
};
