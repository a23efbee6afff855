// What the documents list, against the sources that it comes from.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "tests/architecture/house_support.h"
#include "tests/support/test_places.h"

namespace
{

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;

std::string Read(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Section(const std::string& text, const std::string& heading, const std::string& next)
{
    const auto begin = text.find(heading);
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find(next, begin + heading.size()) - begin);
}

std::set<std::string> AllMatches(const std::string& text, const std::regex& pattern)
{
    std::set<std::string> found;
    for (auto at = std::sregex_iterator(text.begin(), text.end(), pattern); at != std::sregex_iterator(); ++at)
        found.insert((*at)[1]);
    return found;
}

// Of container and control, from their sources.
std::set<std::string> EnvironmentVariables()
{
    static const std::regex variable(R"re("((?:WATCHWALL|XDG|LC|QT)_[A-Z_]+|LANG|HOME|DISPLAY)")re");
    std::set<std::string> variables;
    for (const std::string& room : HOUSE) {
        for (const auto& entry : fs::recursive_directory_iterator(SourcePath(room))) {
            if (entry.path().extension() != ".cpp") continue;
            variables.merge(AllMatches(Read(entry.path()), variable));
        }
    }
    return variables;
}

TEST(DocumentsTest, EachEnvironmentVariableIsListed)
{
    const std::string page = Section(Read(SourcePath("docs/configuration.md")), "## Environment", "\n## ");
    const std::string manual = Section(Read(SourcePath("packaging/watchwall.1")), ".SH ENVIRONMENT", "\n.SH ");
    const std::set<std::string> variables = EnvironmentVariables();
    EXPECT_THAT(variables, Contains("WATCHWALL_HOME"));
    for (const std::string& variable : variables) {
        EXPECT_THAT(page, HasSubstr("`" + variable + "`"));
        EXPECT_TRUE(std::regex_search(manual, std::regex("\\b" + variable + "\\b"))) << variable;
    }
}

// Whoever names the file to a person asks for its path there, as whoever reads it does.
TEST(DocumentsTest, OneSourceAloneMakesThePathOfTheSettings)
{
    std::set<std::string> sources;
    for (const char* room : {"activex", "common", "model", "platform", "record", "remote", "render", "skin"}) {
        for (const auto& entry : fs::recursive_directory_iterator(SourcePath(room))) {
            if (entry.path().extension() == ".cpp" &&
                Read(entry.path()).find("system.ini\"") != std::string::npos)
                sources.insert(entry.path().filename().string());
        }
    }
    EXPECT_THAT(sources, testing::ElementsAre("SystemSettings.cpp"));
}

TEST(DocumentsTest, EachInterfaceOfTheControlIsListed)
{
    static const std::regex declared(R"re(\nclass (IControl\w+) )re");
    const std::string page = Section(Read(SourcePath("docs/embedding.md")), "| Interface |", "\n\n");
    std::set<std::string> interfaces;
    for (const auto& entry : fs::directory_iterator(SourcePath("inc/host")))
        interfaces.merge(AllMatches(Read(entry.path()), declared));
    EXPECT_THAT(interfaces, Contains("IControlWindow"));
    for (const std::string& name : interfaces)
        EXPECT_THAT(page, HasSubstr("\n| `" + name + "` |"));
}

TEST(DocumentsTest, EachExitCodeIsListed)
{
    static const std::regex code(R"re(constexpr int EXIT_\w+ = (\d+);)re");
    const std::string page = Section(Read(SourcePath("docs/configuration.md")), "## Exit codes", "\n## ");
    const std::string manual = Section(Read(SourcePath("packaging/watchwall.1")), ".SH EXIT STATUS", "\n.SH ");
    const std::set<std::string> codes = AllMatches(Read(SourcePath("host/main.cpp")), code);
    EXPECT_THAT(codes, SizeIs(6));
    for (const std::string& number : codes) {
        EXPECT_THAT(page, HasSubstr("\n| " + number + " | "));
        EXPECT_THAT(manual, HasSubstr("\n.B " + number + "\n"));
    }
}

TEST(DocumentsTest, EachTellsTheVersionOfTheProject)
{
    static const std::regex project(R"re(project\(watchwall VERSION ([0-9.]+) )re");
    const std::set<std::string> versions = AllMatches(Read(SourcePath("CMakeLists.txt")), project);
    ASSERT_THAT(versions, SizeIs(1));
    const struct {
        const char* file;
        const char* newest;
    } rows[] = {{"CHANGELOG.md", R"re(\n## ([0-9.]+)\n)re"},
                {"packaging/changelog", R"re(watchwall \(([0-9.]+)\) )re"},
                {"packaging/org.watchwall.Watchwall.metainfo.xml", R"re(<release version="([0-9.]+)" )re"},
                {"packaging/watchwall.1", R"re(\.TH .*"Watchwall ([0-9.]+)")re"},
                {"packaging/watchwall-recorder.1", R"re(\.TH .*"Watchwall ([0-9.]+)")re"}};
    for (const auto& row : rows) {
        const std::string text = Read(SourcePath(row.file));
        std::smatch found;
        ASSERT_TRUE(std::regex_search(text, found, std::regex(row.newest))) << row.file;
        EXPECT_EQ(found[1], *versions.begin()) << row.file;
    }
}

}  // namespace
