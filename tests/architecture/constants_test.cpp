// The constants of the platform's layer and of what hosts see are those that the programs use.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "tests/architecture/house_support.h"
#include "tests/support/test_places.h"

namespace
{

namespace fs = std::filesystem;

// How often each name in capitals stands in the code of the house.
std::map<std::string, int> CountNames()
{
    static const std::regex capitals(R"(\b[A-Z][A-Z0-9_]+\b)");
    std::map<std::string, int> counts;
    for (const std::string& folder : HOUSE) {
        for (const auto& entry : fs::recursive_directory_iterator(SourcePath(folder))) {
            if (entry.path().extension() != ".h" && entry.path().extension() != ".cpp") continue;
            std::ifstream in(entry.path());
            for (std::string line; std::getline(in, line);) {
                const std::string code = line.substr(0, line.find("//"));
                for (auto at = std::sregex_iterator(code.begin(), code.end(), capitals);
                     at != std::sregex_iterator(); ++at)
                    ++counts[(*at)[0]];
            }
        }
    }
    return counts;
}

TEST(ConstantsTest, EachOfThePlatformHasAUse)
{
    static const std::regex declared(R"(^inline constexpr .* ([A-Z][A-Z0-9_]+) = .*)");
    const std::map<std::string, int> counts = CountNames();
    std::size_t constants = 0;
    std::vector<std::string> unused;
    for (const char* const folder : {"inc", "platform"}) {
        for (const auto& entry : fs::recursive_directory_iterator(SourcePath(folder))) {
            if (entry.path().extension() != ".h") continue;
            std::ifstream in(entry.path());
            std::smatch match;
            for (std::string line; std::getline(in, line);) {
                if (!std::regex_match(line, match, declared)) continue;
                ++constants;
                if (counts.at(match[1]) == 1) unused.push_back(match[1]);
            }
        }
    }
    EXPECT_GT(constants, 20U) << "the headers were not found under " << SourcePath();
    EXPECT_THAT(unused, testing::IsEmpty());
}

}  // namespace
