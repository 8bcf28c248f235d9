// SPDX-License-Identifier: Apache-2.0
//
// Texts of the source tree, and what stands in them.
#ifndef VXP_TESTS_DOCS_TEXT_H
#define VXP_TESTS_DOCS_TEXT_H

#include "tests/support/support.h"

#include <regex>

inline std::string sourceFile(const std::string &strPath)
{
    return readFile(VXP_SOURCE_DIR "/" + strPath);
}

// The groups of each match; group 0 is the whole. ^ and $ are a line's.
inline std::vector<std::vector<std::string>> allMatches(const std::string &strText, const std::string &strPattern)
{
    const std::regex expression(strPattern, std::regex::multiline);
    std::vector<std::vector<std::string>> matches;
    for (std::sregex_iterator match(strText.begin(), strText.end(), expression), end; match != end; ++match)
        matches.emplace_back(match->begin(), match->end());
    return matches;
}

#endif
