// SPDX-License-Identifier: Apache-2.0
//
// vxpimage: makes firmware images for simulated access points.
#include "lab/file.h"
#include "lab/image.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <getopt.h>

namespace
{

constexpr char USAGE[] = "Usage: vxpimage --model MODEL --version VERSION [--size BYTES] -o FILE\n"
                         "Make a firmware image for access points of MODEL, which then run VERSION.\n"
                         "\n"
                         "  --size BYTES   of the payload (65536; at most 268435456)\n";

constexpr unsigned long long MOST_BYTES = 1ULL << 28;

int make(const lab::Image &image, unsigned long long size, const char *file)
{
    try {
        lab::writeFile(file, lab::makeImage(image, size));
        return 0;
    } catch (const std::exception &failure) {
        fprintf(stderr, "vxpimage: %s\n", failure.what());
        return 1;
    }
}

} // namespace

int main(int argc, char **argv)
{
    constexpr option OPTIONS[] = {{"model", required_argument, nullptr, 'm'},
                                  {"version", required_argument, nullptr, 'v'},
                                  {"size", required_argument, nullptr, 's'},
                                  {"help", no_argument, nullptr, 'h'},
                                  {}};
    lab::Image image;
    unsigned long long size = 65536;
    const char *file = nullptr;
    char *end = nullptr;
    for (int letter; (letter = getopt_long(argc, argv, "o:", OPTIONS, nullptr)) != -1;) {
        switch (letter) {
        case 'm':
            image.model = optarg;
            break;
        case 'v':
            image.version = optarg;
            break;
        case 's':
            size = strtoull(optarg, &end, 10);
            if (*end || end == optarg || *optarg == '-' || size > MOST_BYTES) {
                fprintf(stderr, "vxpimage: --size takes bytes from 0 to %llu\n", MOST_BYTES);
                return 2;
            }
            break;
        case 'o':
            file = optarg;
            break;
        case 'h':
            fputs(USAGE, stdout);
            return 0;
        default:
            fputs(USAGE, stderr);
            return 2;
        }
    }
    if (!file || image.model.empty() || image.version.empty() || optind < argc) {
        fputs(USAGE, stderr);
        return 2;
    }
    return make(image, size, file);
}
