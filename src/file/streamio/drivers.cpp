#include "file/streamio/drivers.h"

streamio_driver *const streamio_builtin_drivers[] = {
    &nullio_driver,         &debugio_driver,  &secureio_driver,   &httpio_driver,
    &ftpio_driver,          &telnetio_driver, &platformio_driver, &stdio_driver,
    &safeio_driver,         &saferio_driver,  &resio_driver,      &single_file_cacheio_driver,
    &latent_cacheio_driver, nullptr,
};

void streamio_register_builtin_drivers() {
    for (streamio_driver *const *driver = streamio_builtin_drivers; *driver; ++driver)
        streamio_register_driver(*driver);
}
