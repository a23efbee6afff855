// Reads the includes of every source file and fails on an arrow that docs/architecture.md does not allow. To
// put a failure right, move what is needed to the lower folder, or give the lower folder a small interface that
// the upper one implements; the table below changes only together with that document.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/architecture/house_support.h"
#include "tests/support/test_places.h"

namespace
{

namespace fs = std::filesystem;

// The folders from top to bottom, each with the folders whose headers it may include. A folder outside their
// own names all its sub-folders but the one with the toolkit, which is named by itself.
struct Room {
    const char* folder;
    std::set<std::string> may;
    bool toolkit;  // may include Qt
};

const std::vector<Room>& Rooms()
{
    static const std::vector<Room> rooms = {
        {"host", {"inc", "platform", "platform/qt"}, true},
        {"recorder",
         {"recorder/server", "recorder/store", "recorder/media", "recorder/h264", "recorder/scene",
          "recorder/protocol"},
         false},
        {"recorder/server", {"recorder/store", "recorder/media", "recorder/scene", "recorder/protocol"}, false},
        {"recorder/store", {"recorder/media", "recorder/scene", "recorder/protocol"}, false},
        {"recorder/media", {"recorder/h264", "recorder/scene", "recorder/protocol"}, false},
        {"recorder/h264", {}, false},
        {"recorder/scene", {}, false},
        {"recorder/protocol", {}, false},
        {"activex/UI common",
         {"common", "skin", "remote", "record", "render", "model", "codec", "platform", "platform/qt", "inc"},
         true},
        {"activex/module", {"activex", "inc"}, false},
        {"activex",
         {"activex/UI common", "common", "skin", "remote", "record", "render", "model", "codec", "platform",
          "platform/qt", "inc"},
         true},
        {"common",
         {"skin", "remote", "record", "render", "model", "codec", "platform", "platform/qt", "inc"},
         true},
        {"skin", {"skin/theme", "platform", "platform/qt", "inc"}, true},
        {"skin/theme", {"inc"}, false},
        {"remote",
         {"remote/udp", "remote/link", "remote/p2p", "remote/directory", "remote/tcp", "remote/ptz", "record",
          "render", "model", "codec", "platform", "inc"},
         false},
        {"remote/udp", {"remote", "remote/link", "remote/p2p", "model", "codec", "platform", "inc"}, false},
        {"remote/link", {"remote", "remote/p2p", "render", "model", "codec", "platform", "inc"}, false},
        {"remote/directory", {"remote/p2p", "platform", "inc"}, false},
        {"remote/tcp",
         {"remote", "remote/link", "remote/p2p", "record", "model", "codec", "platform", "inc"},
         false},
        {"remote/ptz", {"remote/tcp", "platform", "inc"}, false},
        {"remote/p2p", {"model", "platform", "inc"}, false},
        {"record", {"model", "platform", "inc"}, false},
        {"render", {"render/device", "model", "codec", "platform", "inc"}, false},
        {"render/device", {"codec", "platform/windows", "inc"}, false},
        {"model", {"model/layout", "model/settings", "model/tree", "model/archive", "platform", "inc"}, false},
        {"model/layout", {"model/archive"}, false},
        {"model/settings", {"model/tree", "model/archive", "platform", "inc"}, false},
        {"model/tree", {"model/archive", "platform", "inc"}, false},
        {"model/archive", {"model", "platform", "inc"}, false},
        {"codec", {"codec/c264", "codec/mpeg4", "codec/convert"}, false},
        {"codec/c264", {"codec", "codec/convert"}, false},
        {"codec/mpeg4", {"codec", "codec/convert"}, false},
        {"codec/convert", {"codec"}, false},
        {"platform/qt", {"platform", "inc"}, true},
        {"platform/component", {"platform/os", "platform/files", "inc"}, false},
        {"platform/windows", {"platform/os", "inc"}, false},
        {"platform/files", {"platform/os", "inc"}, false},
        {"platform/os", {"inc"}, false},
        {"inc", {}, false},
        {"inc/host", {}, false},
    };
    return rooms;
}

// The room a path relative to the root lies in: the longest folder that begins it; null for none.
const Room* RoomOf(const std::string& path)
{
    const Room* found = nullptr;
    for (const Room& room : Rooms()) {
        const std::string prefix = std::string(room.folder) + "/";
        if (path.starts_with(prefix) && (found == nullptr || prefix.size() > std::string(found->folder).size()))
            found = &room;
    }
    return found;
}

bool MayInclude(const Room& from, const Room& to)
{
    const std::string target = to.folder;
    if (from.may.count(target) != 0) return true;
    const std::string top = target.substr(0, target.find('/'));
    const bool own = std::string(from.folder).starts_with(top + "/") || top == from.folder;
    return !to.toolkit && top != target && (!own || from.toolkit) && from.may.count(top) != 0;
}

struct Include {
    std::string file;
    int line;
    std::string target;
    bool quoted;
};

std::vector<Include> IncludesOf(const fs::path& root, const fs::path& file)
{
    static const std::regex pattern(R"re(^\s*#\s*include\s*([<"])([^>"]+)[>"])re");
    std::vector<Include> includes;
    std::ifstream in(file);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        std::smatch match;
        if (std::regex_search(line, match, pattern))
            includes.push_back({fs::relative(file, root).string(), number, match[2], match[1] == "\""});
    }
    return includes;
}

std::vector<Include> AllIncludes()
{
    const fs::path root = SourcePath();
    std::vector<Include> all;
    for (const Room& room : Rooms()) {
        const fs::path folder = root / room.folder;
        if (!fs::is_directory(folder)) continue;
        for (const auto& entry : fs::directory_iterator(folder)) {  // each room once: sub-folders are rooms too
            const auto extension = entry.path().extension();
            if (extension == ".h" || extension == ".cpp") {
                const auto includes = IncludesOf(root, entry.path());
                all.insert(all.end(), includes.begin(), includes.end());
            }
        }
    }
    return all;
}

// Empty when the include is allowed, else what is wrong with it.
std::string Objection(const Include& include)
{
    const Room* const from = RoomOf(include.file);
    const Room* const to = RoomOf(include.target);
    const std::string place = include.file + ":" + std::to_string(include.line) + ": ";
    const bool generated = include.target.ends_with(".moc");
    if (include.quoted && to == nullptr && !generated)
        return place + "\"" + include.target + "\" is not given from the root of the tree";
    if (to != nullptr && to != from && !MayInclude(*from, *to))
        return place + from->folder + " may not include " + to->folder + " (" + include.target + ")";
    static const std::regex toolkit("^Q[A-Z][A-Za-z]*|^qt?[a-z]*gl.*|^Qt[A-Z].*|.*/Q[A-Z][A-Za-z]*$");
    if (!include.quoted && !from->toolkit && std::regex_search(include.target, toolkit))
        return place + from->folder + " knows no toolkit (" + include.target + ")";
    return {};
}

TEST(ArchitectureTest, EveryIncludePointsDown)
{
    const auto includes = AllIncludes();
    ASSERT_GT(includes.size(), 20U) << "the sources were not found under " << SourcePath();
    for (const Include& include : includes)
        EXPECT_EQ(Objection(include), "");
}

// A folder and its own sub-folders may know each other, files of them may not.
TEST(ArchitectureTest, NoTwoFoldersIncludeEachOther)
{
    std::set<std::pair<std::string, std::string>> arrows;
    for (const Include& include : AllIncludes()) {
        const Room* const from = RoomOf(include.file);
        const Room* const to = RoomOf(include.target);
        const bool family =
            to != nullptr && (std::string(from->folder).starts_with(std::string(to->folder) + "/") ||
                              std::string(to->folder).starts_with(std::string(from->folder) + "/"));
        if (to != nullptr && to != from && !family) arrows.emplace(from->folder, to->folder);
    }
    for (const auto& [from, to] : arrows)
        EXPECT_EQ(arrows.count({to, from}), 0U) << from << " and " << to << " include each other";
}

// Follows the includes of headers from one file; true when they lead back to it.
bool LeadsBack(const std::map<std::string, std::set<std::string>>& headers, const std::string& start)
{
    std::set<std::string> seen;
    std::vector<std::string> open = {start};
    while (!open.empty()) {
        const auto found = headers.find(open.back());
        open.pop_back();
        if (found == headers.end()) continue;
        for (const std::string& next : found->second) {
            if (next == start) return true;
            if (seen.insert(next).second) open.push_back(next);
        }
    }
    return false;
}

TEST(ArchitectureTest, NoHeaderIncludesItselfByAnotherWay)
{
    std::map<std::string, std::set<std::string>> headers;
    for (const Include& include : AllIncludes())
        if (include.quoted && include.file.ends_with(".h")) headers[include.file].insert(include.target);
    EXPECT_GT(headers.size(), 50U);
    for (const auto& [header, targets] : headers)
        EXPECT_FALSE(LeadsBack(headers, header)) << header;
    EXPECT_TRUE(LeadsBack({{"a", {"b"}}, {"b", {"c"}}, {"c", {"a"}}}, "a"));
}

// A new sub-folder is a room of its own, with a row in the table above.
TEST(ArchitectureTest, EveryFolderWithSourcesIsARoom)
{
    const fs::path root = SourcePath();
    std::set<std::string> folders;
    for (const Room& room : Rooms()) {
        if (!fs::is_directory(root / room.folder)) continue;
        for (const auto& entry : fs::recursive_directory_iterator(root / room.folder)) {
            const auto extension = entry.path().extension();
            if (extension == ".h" || extension == ".cpp")
                folders.insert(fs::relative(entry.path().parent_path(), root).string());
        }
    }
    EXPECT_GT(folders.size(), 10U);
    for (const std::string& folder : folders) {
        const Room* const room = RoomOf(folder + "/");
        EXPECT_TRUE(room != nullptr && room->folder == folder) << folder;
    }
}

std::string ReadText(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Of the first level: those of the table.
std::set<std::string> TopFolders()
{
    std::set<std::string> folders;
    for (const Room& room : Rooms())
        folders.insert(std::string(room.folder).substr(0, std::string(room.folder).find('/')));
    return folders;
}

TEST(ArchitectureTest, EveryFolderThatIsBuiltIsARoom)
{
    static const std::regex added(R"re(add_subdirectory\("?(\w+))re");
    const std::string build = ReadText(SourcePath("CMakeLists.txt"));
    std::set<std::string> folders;
    for (auto at = std::sregex_iterator(build.begin(), build.end(), added); at != std::sregex_iterator(); ++at)
        folders.insert((*at)[1]);
    for (const char* const beside : {"bench", "config", "fuzz", "tests"})
        EXPECT_EQ(folders.erase(beside), 1U) << beside;
    EXPECT_EQ(folders, TopFolders());
}

// They name the folders each in its own way.
TEST(ArchitectureTest, TheChecksOfNamesAndTheLintReadEveryRoom)
{
    std::set<std::string> named(HOUSE.begin(), HOUSE.end());
    named.insert({"codec", "recorder"});
    EXPECT_EQ(named, TopFolders());
    std::string pattern;
    for (const std::string& folder : TopFolders())
        pattern += (pattern.empty() ? "(" : "|") + folder;
    for (const char* const check : {"scripts/lint", ".clang-tidy"})
        EXPECT_THAT(ReadText(SourcePath(check)), testing::HasSubstr(pattern + ")/'")) << check;
}

// A folder of tests that no CMakeLists.txt names is not built, and its tests fail nobody.
TEST(ArchitectureTest, EveryTestIsBuilt)
{
    const std::string built = ReadText(BuildPath("compile_commands.json"));
    ASSERT_NE(built, "") << "the presets have it written, and the programs built";
    for (const auto& entry : fs::recursive_directory_iterator(SourcePath("tests"))) {
        const std::string file = "/tests/" + fs::relative(entry.path(), SourcePath("tests")).string();
        if (!file.ends_with("_test.cpp")) continue;
        EXPECT_NE(built.find(file + '"'), std::string::npos) << file;
    }
}

// The names in backquotes, without the slash behind a folder.
std::vector<std::string> QuotedNames(const std::string& cell)
{
    static const std::regex quoted("`([^`]+?)/?`");
    std::vector<std::string> names;
    for (auto at = std::sregex_iterator(cell.begin(), cell.end(), quoted); at != std::sregex_iterator(); ++at)
        names.push_back((*at)[1]);
    return names;
}

// The page's rows from top to bottom: a room and what its last cell says; rooms of one row stand in a row each.
using PageRows = std::vector<std::pair<std::string, std::string>>;

PageRows ReadPage()
{
    static const std::regex row(R"(\| ((?:&nbsp; )?`.*/`) \|.*\|.*\| (.*) \|)");
    std::ifstream page(SourcePath("docs/architecture.md"));
    PageRows rows;
    std::smatch match;
    for (std::string line; std::getline(page, line);) {
        if (!std::regex_match(line, match, row)) continue;
        for (const std::string& name : QuotedNames(match[1]))
            rows.emplace_back(name, match[2]);
    }
    return rows;
}

// What a cell allows a room to include, in the names of the table above.
std::set<std::string> Allowed(const Room& room, const std::string& cell, const PageRows& page)
{
    const std::string folder = room.folder;
    const std::string top = folder.substr(0, folder.find('/'));
    std::string lowest = folder;  // what is said to be below is so from here
    std::set<std::string> allowed;
    for (const std::string& name : QuotedNames(cell)) {
        const Room* const sister = RoomOf(top + "/" + name + "/");
        lowest = sister != nullptr && sister->folder == top + "/" + name ? sister->folder : name;
        allowed.insert(lowest);
    }
    const bool below = cell.find("below") != std::string::npos;
    bool reached = false;
    for (const auto& [name, text] : page) {
        if (cell.starts_with("its room") && name.starts_with(folder + "/")) allowed.insert(name);
        const bool toolkit = RoomOf(name + "/") != nullptr && RoomOf(name + "/")->toolkit;
        if (below && reached && (room.toolkit || !toolkit))
            allowed.insert(toolkit ? name : name.substr(0, name.find('/')));
        reached = reached || name == lowest;
    }
    return allowed;
}

TEST(ArchitectureTest, ThePageSaysOfEachRoomWhatTheTableSays)
{
    const PageRows page = ReadPage();
    std::set<std::string> rooms;
    for (const Room& room : Rooms())
        rooms.insert(room.folder);
    std::set<std::string> named;
    for (const auto& [name, cell] : page) {
        EXPECT_TRUE(named.insert(name).second) << name << " has two rows";
        if (rooms.count(name) == 0) continue;
        const Room& room = *RoomOf(name + "/");
        EXPECT_EQ(Allowed(room, cell, page), room.may) << name;
    }
    EXPECT_EQ(named, rooms);
}

// What the notes of a header say, in one line.
std::string Notes(std::istream& header)
{
    static const std::regex note(R"(// (.*))");
    std::string notes;
    std::smatch match;
    for (std::string line; std::getline(header, line);)
        if (std::regex_match(line, match, note)) notes += match[1].str() + " ";
    return notes;
}

TEST(ArchitectureTest, AHeaderThatIsInternalToItsFolderIsIncludedThereAlone)
{
    std::set<std::string> internal;
    for (const Include& include : AllIncludes()) {
        if (!include.quoted || !RoomOf(include.target)) continue;
        std::ifstream header(SourcePath(include.target));
        if (Notes(header).find("Internal to this folder") == std::string::npos) continue;
        internal.insert(include.target);
        EXPECT_STREQ(RoomOf(include.file)->folder, RoomOf(include.target)->folder)
            << include.file << " -> " << include.target;
    }
    EXPECT_FALSE(internal.empty());
}

// The place of each angled include that follows one of ours. A source's first include is its own header.
std::vector<std::string> BehindOurs(const std::vector<Include>& includes)
{
    std::vector<std::string> places;
    std::string file;
    bool first = true;
    bool ours = false;
    for (const Include& include : includes) {
        if (std::exchange(file, include.file) != include.file) {
            first = true;
            ours = false;
        }
        if (!include.quoted && ours) places.push_back(include.file + ":" + std::to_string(include.line));
        if (include.quoted && !(first && include.file.ends_with(".cpp"))) ours = true;
        first = false;
    }
    return places;
}

TEST(ArchitectureTest, OurIncludesFollowTheOthers)
{
    EXPECT_EQ(BehindOurs(AllIncludes()), std::vector<std::string>());
    const std::vector<Include> wrong = {{"a/A.h", 3, "a/B.h", true}, {"a/A.h", 5, "vector", false}};
    EXPECT_EQ(BehindOurs(wrong), (std::vector<std::string>{"a/A.h:5"})) << "the alarm rings";
}

// The sources whose own header, when there is one, isn't what they include first.
std::vector<std::string> WithoutOwnHeaderFirst(const std::vector<Include>& includes,
                                               const std::function<bool(const std::string&)>& exists)
{
    std::vector<std::string> files;
    std::string file;
    for (const Include& include : includes) {
        if (std::exchange(file, include.file) == include.file || !file.ends_with(".cpp")) continue;
        const std::string own = file.substr(0, file.size() - 3) + "h";
        if (include.target != own && exists(own)) files.push_back(file);
    }
    return files;
}

TEST(ArchitectureTest, ASourceIncludesItsOwnHeaderFirst)
{
    const auto exists = [](const std::string& path) { return fs::exists(SourcePath(path)); };
    EXPECT_EQ(WithoutOwnHeaderFirst(AllIncludes(), exists), std::vector<std::string>());
    const std::vector<Include> wrong = {{"a/A.cpp", 1, "vector", false},
                                        {"a/A.cpp", 3, "a/A.h", true},
                                        {"a/B.cpp", 1, "a/B.h", true},
                                        {"a/C.h", 1, "a/A.h", true}};
    EXPECT_EQ(WithoutOwnHeaderFirst(wrong, [](const std::string&) { return true; }),
              (std::vector<std::string>{"a/A.cpp"}))
        << "the alarm rings";
}

// The alarm rings: arrows that must be refused are.
TEST(ArchitectureTest, ForbiddenArrowsAreFound)
{
    const Include forbidden[] = {
        {"codec/a.cpp", 1, "platform/os/threads.h", true},
        {"model/a.cpp", 1, "remote/Device.h", true},
        {"render/a.cpp", 1, "remote/Device.h", true},
        {"host/a.cpp", 1, "activex/ActiveXCtrl.h", true},
        {"recorder/a.cpp", 1, "codec/decoder.h", true},
        {"platform/os/a.cpp", 1, "platform/qt/Dialog.h", true},
        {"platform/os/a.cpp", 1, "platform/windows/windows.h", true},
        {"remote/p2p/a.cpp", 1, "remote/Device.h", true},
        {"codec/c264/a.cpp", 1, "codec/mpeg4/mpeg4_mb.h", true},
        {"render/device/a.cpp", 1, "render/Render.h", true},
        {"render/device/a.cpp", 1, "platform/os/Socket.h", true},
        {"model/a.cpp", 1, "QString", false},
        {"remote/a.cpp", 1, "QtCore/QString", false},
        {"model/a.cpp", 1, "Node.h", true},
        {"common/a.cpp", 1, "activex/UI common/TreeDlg.h", true},
    };
    for (const Include& include : forbidden)
        EXPECT_NE(Objection(include), "") << include.file << " -> " << include.target;
}

}  // namespace
