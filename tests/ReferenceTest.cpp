// The pages of the reference against the headers; their examples are run by tests/reference.

#include <NoxResultCodes.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

const fs::path kPages = NOX_REFERENCE_PAGES;

std::string textOf(const fs::path& file)
{
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

/// "name: meaning" of each code.
using Codes = std::map<long, std::string>;

const Codes inHeader = {
#define ROW(name, number, meaning) {number, #name ": " meaning},
    NOX_RESULT_CODES(ROW)
#undef ROW
};

TEST(Reference, itsTableHoldsTheCodesOfTheHeader)
{
    const std::string text = textOf(kPages / "result_codes.md");
    const std::regex row(R"(\| (\d+) \| (\w+) \| ([^|]+) \|)");
    Codes inTable;
    for (std::sregex_iterator match(text.begin(), text.end(), row), end; match != end; ++match)
        EXPECT_TRUE(inTable.emplace(std::stol((*match)[1]), (*match)[2].str() + ": " + (*match)[3].str()).second)
            << match->str();
    EXPECT_EQ(inTable, inHeader);
}

TEST(Reference, itsPagesNameNoOtherCodes)
{
    const std::regex code(R"(\b(11|30)\d{6}\b)");
    for (const auto& page : fs::directory_iterator(kPages)) {
        const std::string text = textOf(page);
        for (std::sregex_iterator match(text.begin(), text.end(), code), end; match != end; ++match)
            EXPECT_EQ(inHeader.count(std::stol(match->str())), 1u) << page.path() << ": " << match->str();
    }
}

}  // namespace
