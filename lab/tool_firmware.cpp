// SPDX-License-Identifier: Apache-2.0
//
// flash-validate, flash-upgrade and firmware-upgrade. They tell of their progress in the store's field
// "firmware-upgrade"/"progress"; "1" at the end asks the daemon for a reboot, which brings the new firmware.
#include "lab/file.h"
#include "lab/image.h"
#include "lab/process.h"
#include "lab/settings.h"
#include "lab/tool.h"

#include <cstdlib>
#include <thread>
#include <unistd.h>

namespace lab
{

namespace
{

void progress(const char *text)
{
    writeSettings({{named("firmware-upgrade", "progress"), text}});
}

// Does a step; if it fails, that is the progress, too.
template <class Step>
auto orFail(const char *text, Step step)
{
    try {
        return step();
    } catch (...) {
        progress(text);
        throw;
    }
}

Image validated(const std::string &file)
{
    const std::string bytes = readFile(file);
    const std::string model = readSetting("system", "model");
    try {
        Image image = checkImage(bytes);
        if (image.model != model)
            throw std::runtime_error("the image is for " + image.model + ", this is " + model);
        return image;
    } catch (const std::runtime_error &failure) {
        throw std::runtime_error(file + ": " + failure.what());
    }
}

void flash(const Image &image)
{
    const char *const time = getenv("VXP_FLASH_TIME"); // seconds, checked by vxman
    std::this_thread::sleep_for(std::chrono::duration<double>(time ? strtod(time, nullptr) : 1));
    writeFile(FIRMWARE,
              formatSettings({{named("system", "model"), image.model}, {named("system", "version"), image.version}}));
    progress("1");
}

struct TemporaryFile {
    const std::string path = "/tmp/firmware-upgrade." + std::to_string(getpid());

    ~TemporaryFile() { unlink(path.c_str()); }
};

struct Source {
    std::string server;
    std::string file;
};

Source parseURL(const std::string &url)
{
    constexpr std::string_view SCHEME = "tftp://";
    const std::size_t slash = url.find('/', SCHEME.size());
    if (!url.starts_with(SCHEME) || slash == std::string::npos || slash == SCHEME.size() || slash + 1 == url.size())
        throw UsageError("");
    return {url.substr(SCHEME.size(), slash - SCHEME.size()), url.substr(slash + 1)};
}

} // namespace

void flashValidate(const Arguments &arguments)
{
    validated(arguments[0]);
}

void flashUpgrade(const Arguments &arguments)
{
    flash(orFail("Validation failed", [&] { return validated(arguments[0]); }));
}

void firmwareUpgrade(const Arguments &arguments)
{
    const Source source = parseURL(arguments[0]);
    const TemporaryFile local;
    progress("Downloading file");
    const bool fetched = run({"tftp", "-g", "-l", local.path, "-r", source.file, source.server});
    if (!fetched) {
        progress("File download failed");
        throw std::runtime_error("cannot fetch " + source.file + " from " + source.server);
    }
    progress("Validating file");
    const Image image = orFail("Validation failed", [&local] { return validated(local.path); });
    progress("Validation success");
    progress("Upgrading firmware");
    flash(image);
}

} // namespace lab
