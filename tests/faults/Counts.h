#ifndef OXBOW_TEST_COUNTS_H
#define OXBOW_TEST_COUNTS_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "processes/Setting.h"

/** The number with commas, as the page has it. */
inline std::string WithCommas(long number) {
    std::string digits = std::to_string(number);
    for (auto at = static_cast<long>(digits.size()) - 3; at > 0; at -= 3) {
        digits.insert(static_cast<std::size_t>(at), ",");
    }
    return digits;
}

/** Holds what was counted against the row of that name in the table of docs/design.md, if all cases
    were run. With OXBOW_COUNTS in the environment it corrects the row instead. */
inline void HoldCount(const std::string& name, long found) {
    if (Stride() != 1) {
        return;
    }
    std::ifstream in(OXBOW_DESIGN_PAGE);
    std::string page(std::istreambuf_iterator<char>(in), {});
    const std::string row = "| " + name + " | ";
    const std::size_t at = page.find(row);
    ASSERT_NE(at, std::string::npos) << "docs/design.md has no row \"" << name << "\"";
    const std::size_t begin = at + row.size(), end = page.find(" |", begin);
    if (std::getenv("OXBOW_COUNTS") != nullptr) {
        std::ofstream(OXBOW_DESIGN_PAGE) << page.replace(begin, end - begin, WithCommas(found));
        return;
    }
    EXPECT_EQ(WithCommas(found), page.substr(begin, end - begin))
        << "docs/design.md, row \"" << name << "\", differs from what was counted";
}

#endif
