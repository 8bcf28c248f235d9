// SPDX-License-Identifier: Apache-2.0
//
// What vxpctl promises to programs: all that it prints with -o json and -o jsonl fits the schema that is installed.
#ifndef VXP_TESTS_SUPPORT_CONTRACT_H
#define VXP_TESTS_SUPPORT_CONTRACT_H

#include <string>
#include <vector>

// Each output is an envelope, or lines. What does not fit, with the output in question; empty when all does.
std::string contractProblems(const std::vector<std::string> &outputs);

#endif
