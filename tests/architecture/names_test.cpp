// Holds what the text of the sources shows of docs/naming.md.

#include <gmock/gmock.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/architecture/house_support.h"
#include "tests/support/test_places.h"

namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

using Faults = std::vector<std::string>;
using LineCheck = std::function<void(const std::string& file, const std::string& line, Faults& faults)>;

// Each line of the sources below these folders of the tree.
Faults CheckLines(const std::vector<std::string>& folders, const LineCheck& check)
{
    Faults faults;
    std::size_t lines = 0;
    for (const std::string& folder : folders) {
        for (const auto& entry : fs::recursive_directory_iterator(SourcePath(folder))) {
            if (entry.path().extension() != ".h" && entry.path().extension() != ".cpp") continue;
            std::ifstream in(entry.path());
            for (std::string line; std::getline(in, line); ++lines)
                check(fs::relative(entry.path(), SourcePath()).string(), line, faults);
        }
    }
    EXPECT_GT(lines, 1000U) << "the sources were not found under " << SourcePath();
    return faults;
}

std::vector<std::string> HouseAnd(std::initializer_list<std::string> others)
{
    std::vector<std::string> folders = HOUSE;
    folders.insert(folders.end(), others);
    return folders;
}

// A declaration without the locks that guard it.
std::string WithoutGuards(const std::string& line)
{
    static const std::regex guard(R"( (?:PT_)?GUARDED_BY\([^)]*\))");
    return std::regex_replace(line, guard, "");
}

// A member, or a variable of a file or a thread, whose tag isn't that of its type. Fields that archives and
// records name are as those are.
void CheckTag(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::map<std::string, std::regex> types = {
        {"ul", std::regex(R"(.*\buint32_t\b.*)")},
        {"dw", std::regex(R"(.*\buint32_t\b.*)")},
        {"i", std::regex(R"(.*\b(int|int(8|16|32|64)_t)\b.*)")},
        {"b", std::regex(R"(.*\bbool\b.*)")},
        {"str", std::regex(R"(.*\b(string|QString)\b.*)")},
        {"sz", std::regex(R"(.*\b(char|string)\b.*)")},
        {"bs", std::regex(R"(.*\b(bitset|DriveSet)\b.*)")},
        {"cs", std::regex(R"(.*\b(CMutex|CCriticalSection|mutex)\b.*)")},
        {"h", std::regex(R"(.*\b(HWND|HANDLE|HHOOK|SOCKET)\b.*)")},
        {"p",
         std::regex(R"(((?!.*\b(vector|array|deque|map)<.*>$).*(\*|_ptr<|QPointer<|CComPtr<|Pointer\b).*)|)"
                    R"(.*\b(Exit|SocketStart|ModuleIdle|FolderTest|Poster|codec_report_fn)\b.*|)"
                    R"(X(IO)?ErrorHandler|Av(CodecContext|Packet))")},
    };
    static const std::set<std::string> named = {"m_bRecordModeAuto"};
    static const std::regex member(
        R"(^\s*([A-Za-z_][\w:<>,\*& ]*[\w>\*&]) [\*&]*([gmt]_(ul|dw|i|b|str|sz|bs|cs|h|p)[A-Z]\w*)\b[^(]*[;{=].*)");
    std::smatch match;
    const std::string declaration = WithoutGuards(line);
    if (!std::regex_match(declaration, match, member)) return;
    const std::string type = match[1];
    if (type.starts_with("return") || type.starts_with("if (") || type == "delete" ||
        named.count(match[2]) != 0)
        return;
    if (!std::regex_match(type, types.at(match[3])))
        faults.push_back(file + ": " + type + " " + match[2].str());
}

TEST(NamesTest, TagsTellTheTruth)
{
    EXPECT_THAT(CheckLines(HouseAnd({"bench", "fuzz", "tests"}), CheckTag), IsEmpty());
    Faults faults;
    CheckTag("a.h", "    std::uint8_t m_ulCount = 0;", faults);
    CheckTag("a.h", "    std::atomic<std::uint32_t> m_ulCount{0};", faults);
    CheckTag("a.h", "    mutable std::string m_strName GUARDED_BY(m_cs);", faults);
    CheckTag("a.h", "    const char* m_szName;", faults);
    CheckTag("a.cpp", "constinit std::size_t g_ulBlocks = 0;", faults);
    CheckTag("a.cpp", "    return m_bCalled && m_bAnswered;", faults);
    CheckTag("a.h", "    int m_csWindows = 0;", faults);
    CheckTag("a.h", "    std::uint64_t m_ulFailures GUARDED_BY(m_cs) = 0;", faults);
    CheckTag("a.h", "    std::unique_ptr<File> m_pFile GUARDED_BY(m_cs) PT_GUARDED_BY(m_cs);", faults);
    CheckTag("a.h", "    std::vector<Row*> m_pRows;", faults);
    CheckTag("a.h", "    int m_hView = 0;", faults);
    EXPECT_THAT(faults, ElementsAre("a.h: std::uint8_t m_ulCount", "a.cpp: constinit std::size_t g_ulBlocks",
                                    "a.h: int m_csWindows", "a.h: std::uint64_t m_ulFailures",
                                    "a.h: std::vector<Row*> m_pRows", "a.h: int m_hView"))
        << "the alarm rings";
}

// The page itself, for the names that it lists.
bool IsListed(const std::string& name)
{
    static const std::string page = [] {
        std::ifstream in(SourcePath("docs/naming.md"));
        return std::string(std::istreambuf_iterator<char>(in), {});
    }();
    return page.find("`" + name + "`") != std::string::npos;
}

const std::set<std::string> TAGS = {"sz", "str", "i", "ul", "dw", "b", "bs", "p", "h", "cs"};

// A member, or a variable of a file or a thread, with a tag that there isn't, or without capitals.
void CheckKnownTag(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex name(R"(\b[gmt]_([a-z]+)(?:[A-Z]\w*)?\b)");
    const std::string code = line.substr(0, line.find("//"));
    for (auto at = std::sregex_iterator(code.begin(), code.end(), name); at != std::sregex_iterator(); ++at) {
        if (TAGS.count((*at)[1]) == 0 && !IsListed((*at)[0])) faults.push_back(file + ": " + (*at)[0].str());
    }
}

TEST(NamesTest, TagsAreThoseOfThePage)
{
    for (const std::string& tag : TAGS)
        EXPECT_TRUE(IsListed(tag)) << tag;
    EXPECT_THAT(CheckLines(HouseAnd({"bench", "fuzz", "tests"}), CheckKnownTag), IsEmpty());
    Faults faults;
    CheckKnownTag("a.h", std::string("    double m_") + "dSkipped = 0;", faults);
    CheckKnownTag("a.h", "    double m_Skipped = m_iNumber;", faults);
    CheckKnownTag("a.h", "    std::int64_t m_tBeginDateTime = 0;", faults);
    EXPECT_THAT(faults, ElementsAre(std::string("a.h: m_") + "dSkipped"));
}

// A member, or a variable of a file or a thread, without the tag that its type has.
void CheckTagged(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex untagged(
        R"(^\s*(?:(?:mutable|static|constinit|inline|const|thread_local) )*)"
        R"((?:(?:std::atomic|CRelaxed)<)?(?:(?:std::)?(?:int|int(?:8|16|32|64)_t|uint32_t|bool|string|mutex)|)"
        R"(QString|CMutex|CCriticalSection|HWND|HANDLE|HHOOK|SOCKET|)"
        R"([\w:]+\*|(?:std::(?:unique|shared|weak)_ptr|QPointer|CComPtr)<.*>)>?(?: const)?)"
        R"( ([gmt]_[A-Z]\w*)\b[^(]*[;{=].*)");
    std::smatch match;
    const std::string declaration = WithoutGuards(line);
    if (std::regex_match(declaration, match, untagged) && !IsListed(match[1]))
        faults.push_back(file + ": " + line);
}

TEST(NamesTest, WhatHasATagBearsIt)
{
    EXPECT_THAT(CheckLines(HouseAnd({"bench", "fuzz", "tests"}), CheckTagged), IsEmpty());
    Faults faults;
    CheckTagged("a.h", "    std::uint32_t m_Count = 0;", faults);
    CheckTagged("a.cpp", "constinit std::atomic<bool> g_Ended = false;", faults);
    CheckTagged("a.h", "    std::uint64_t m_Count = 0;", faults);
    CheckTagged("a.h", "    std::int32_t m_iCount = 0;", faults);
    CheckTagged("a.h", "    bool m_Ended GUARDED_BY(m_cs) = false;", faults);
    CheckTagged("a.h", "    const Row* m_Row;", faults);
    CheckTagged("a.h", "    mutable CMutex m_Lock;", faults);
    CheckTagged("a.h", "    CComPtr<IThing> m_Thing;", faults);
    CheckTagged("a.h", "    HWND m_hWindow;", faults);
    EXPECT_THAT(faults,
                ElementsAre("a.h:     std::uint32_t m_Count = 0;",
                            "a.cpp: constinit std::atomic<bool> g_Ended = false;",
                            "a.h:     bool m_Ended GUARDED_BY(m_cs) = false;", "a.h:     const Row* m_Row;",
                            "a.h:     mutable CMutex m_Lock;", "a.h:     CComPtr<IThing> m_Thing;"));
}

// A class of the house that is neither one with a C nor an interface.
void CheckClass(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex declared(
        R"(^\s*class (?:CAPABILITY\(\S+\) |SCOPED_CAPABILITY )?(?:\w+::)?(\w+)(?: final)?(?: :.*)?$)");
    static const std::regex form("[CI][A-Z].*");
    std::smatch match;
    if (std::regex_match(line, match, declared) && !std::regex_match(match[1].str(), form) &&
        !IsListed(match[1]))
        faults.push_back(file + ": " + line);
}

TEST(NamesTest, ClassesBearACOrAnI)
{
    EXPECT_THAT(CheckLines(HOUSE, CheckClass), IsEmpty());
    Faults faults;
    CheckClass("a.h", "class Wall", faults);
    CheckClass("a.h", "class CWall final : public IWall", faults);
    CheckClass("a.h", "class CxLog", faults);
    EXPECT_THAT(faults, ElementsAre("a.h: class Wall"));
}

// A struct of the house with a C but without a function: an aggregate, which bears no prefix. The indentation
// tells where it ends.
class CAggregates
{
  public:
    void Check(const std::string& file, const std::string& line, Faults& faults)
    {
        static const std::regex declared(R"(^(\s*)struct (?:\w+::)?(C[A-Z][a-z]\w*) \{)");
        std::smatch match;
        if (std::regex_match(line, match, declared)) {
            m_strEnd = match[1].str() + "}";
            m_strName = match[2];
            return;
        }
        if (m_strName.empty()) return;
        if (line.starts_with(m_strEnd) && !IsListed(m_strName)) faults.push_back(file + ": " + m_strName);
        const std::string code = WithoutGuards(line.substr(0, line.find("//")));
        if (line.starts_with(m_strEnd) || code.find('(') != std::string::npos) m_strName.clear();
    }

  private:
    std::string m_strName;  // of the struct whose fields are read; empty outside of one
    std::string m_strEnd;
};

TEST(NamesTest, AggregatesBearNoPrefix)
{
    CAggregates house;
    const auto check = [&house](const std::string& file, const std::string& line, Faults& faults) {
        house.Check(file, line, faults);
    };
    EXPECT_THAT(CheckLines(HOUSE, check), IsEmpty());
    Faults faults;
    CAggregates aggregates;
    for (const char* const line :
         {"struct CRow {", "    std::string text;  // (of the row)", "    bool read GUARDED_BY(lock) = false;",
          "};", "struct CScope {", "    ~CScope();", "};", "struct Row {", "    int width = 0;", "};"})
        aggregates.Check("a.h", line, faults);
    EXPECT_THAT(faults, ElementsAre("a.h: CRow"));
}

// A type of the recorder with the house's prefix, or a name with a tag. An interface is one there too.
void CheckRecorder(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex wrong(
        R"(^\s*(?:class|struct) (?:\w+::)?C[A-Z][a-z].*|.*\b[gmt]_(?:sz|str|i|ul|dw|bs|b|p|h|cs)[A-Z].*)");
    if (std::regex_match(line, wrong)) faults.push_back(file + ": " + line);
}

TEST(NamesTest, TheRecorderHasNoPrefixesAndNoTags)
{
    EXPECT_THAT(CheckLines({"recorder"}, CheckRecorder), IsEmpty());
    Faults faults;
    CheckRecorder("a.h", std::string("    class C") + "Packets : public IPackets", faults);
    CheckRecorder("a.h", std::string("    int m_") + "iCount = 0;", faults);
    CheckRecorder("a.h", "class Channel : public IPackets", faults);
    CheckRecorder("a.h", "    int m_Count = 0;", faults);
    EXPECT_THAT(faults, testing::SizeIs(2));
}

// A record or class of the decoders that isn't in lower case.
void CheckDecoderType(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex type(R"(^(?:class|struct|union) (?:alignas\(\d+\) )?([A-Z]\w*).*)");
    static const std::regex ofOtherRooms("C[A-Z].*");
    std::smatch match;
    if (std::regex_match(line, match, type) && !std::regex_match(match[1].str(), ofOtherRooms) &&
        !IsListed(match[1]))
        faults.push_back(file + ": " + line);
}

TEST(NamesTest, TypesOfTheDecodersAreInLowerCaseOrListed)
{
    EXPECT_THAT(CheckLines({"codec"}, CheckDecoderType), IsEmpty());
    Faults faults;
    CheckDecoderType("a.h", "struct alignas(64) C264Block {", faults);
    CheckDecoderType("a.h", "struct alignas(64) C264Slice {", faults);
    CheckDecoderType("a.h", "struct c264_block {", faults);
    CheckDecoderType("a.h", "class CVideoDecoder", faults);
    EXPECT_THAT(faults, ElementsAre("a.h: struct alignas(64) C264Block {"));
}

// A word of the right column of the page, of those that mean nothing else but in drawn scenes.
void CheckWord(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex word(
        R"((^|[^A-Za-z])([Gg]ulp|[Ff]arewell|[Rr]oad)s?([^a-z]|$)|[a-z]([G]ulp|[F]arewell|[R]oad))");
    if (!file.starts_with("recorder/scene/") && std::regex_search(line, word))
        faults.push_back(file + ": " + line);
}

TEST(NamesTest, WordsAreThoseOfThePage)
{
    EXPECT_THAT(CheckLines(HouseAnd({"bench", "codec", "fuzz", "recorder", "tests"}), CheckWord), IsEmpty());
    Faults faults;
    const std::string name = std::string("TEST(Wall, LossyRo") + "adPlays)";
    CheckWord("a.cpp", name, faults);
    CheckWord("a.cpp", std::string("// on either ro") + "ad", faults);
    CheckWord("a.cpp", "// abroad, a broadcast", faults);
    CheckWord("recorder/scene/a.cpp", name, faults);
    EXPECT_THAT(faults, testing::SizeIs(2));
}

void CheckEnumeration(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex enumeration(R"(^\s*enum (class )?(\w*).*)");
    static const std::set<std::string> named = {"HWND", "HHOOK", "P2PMSG"};
    std::smatch match;
    if (!std::regex_match(line, match, enumeration) || named.count(match[2]) != 0) return;
    static const std::regex form("E[A-Z].*");
    if (match[1].length() == 0 || !std::regex_match(match[2].str(), form)) faults.push_back(file + ": " + line);
}

TEST(NamesTest, EnumerationsHaveOneForm)
{
    EXPECT_THAT(CheckLines(HouseAnd({"recorder"}), CheckEnumeration), IsEmpty());
    Faults faults;
    CheckEnumeration("a.h", "enum EKind { One };", faults);
    CheckEnumeration("a.h", "enum class Kind { One };", faults);
    CheckEnumeration("a.h", "enum class EKind : int { One };", faults);
    EXPECT_THAT(faults, ElementsAre("a.h: enum EKind { One };", "a.h: enum class Kind { One };"));
}

// A type, an alias or a type's parameter in capitals, which clang-tidy takes for a name in camel case.
void CheckTypeName(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex type(
        R"(^\s*using ([A-Z][A-Z0-9_]+) =.*|^\s*template <(?:.*[ ,])?(?:class|typename) ([A-Z][A-Z0-9_]+)\b.*|)"
        R"(^\s*(?:class|struct) (?:\w+::)?([A-Z][A-Z0-9_]+)(?: [^A-Za-z:]*| : .*|;.*)?)");
    static const std::set<std::string> named = {"HANDLE",
                                                "HOOKPROC",
                                                "HRESULT",
                                                "LPARAM",
                                                "LRESULT",
                                                "MSG",
                                                "PEER_ADDRESS",
                                                "PEER_RECORD",
                                                "RECT",
                                                "SOCKET",
                                                "UUID",
                                                "WAITABLE",
                                                "WNDPROC",
                                                "WPARAM",
                                                "DLLGETCLASSOBJECT",
                                                "DLLCANUNLOADNOW",
                                                "DLLREGISTERSERVER",
                                                "DLLUNREGISTERSERVER"};
    std::smatch match;
    if (std::regex_match(line, match, type) &&
        named.count(match[1].str() + match[2].str() + match[3].str()) == 0)
        faults.push_back(file + ": " + line);
}

TEST(NamesTest, TypesAndParametersOfTemplatesAreNoConstants)
{
    EXPECT_THAT(CheckLines(HouseAnd({"bench", "codec", "fuzz", "recorder", "tests"}), CheckTypeName),
                IsEmpty());
    Faults faults;
    CheckTypeName("a.h", "template <class T, typename WORK>", faults);
    CheckTypeName("a.h", "    using TIME = int;", faults);
    CheckTypeName("a.h", "template <int ROWS, class Work>", faults);
    CheckTypeName("a.h", "using HANDLE = int;", faults);
    CheckTypeName("a.h", "    struct LOAN;", faults);
    CheckTypeName("a.h", "struct CLease::LOAN {", faults);
    CheckTypeName("a.h", "struct CAPABILITY(\"mutex\") CLock", faults);
    EXPECT_THAT(faults, ElementsAre("a.h: template <class T, typename WORK>", "a.h:     using TIME = int;",
                                    "a.h:     struct LOAN;", "a.h: struct CLease::LOAN {"));
}

// A field of an aggregate, a parameter or a local with the tag of a member.
void CheckUntagged(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex name(
        R"(\b(\w+)(>| |&|\*)[ &\*]*(sz|str|ul|dw|bs|[bcdefhinpu])[A-Z]\w*( =|[,;)\[{]))");
    const std::string code = line.substr(0, line.find("//"));
    if (code.find('"') != std::string::npos) return;
    for (auto at = std::sregex_iterator(code.begin(), code.end(), name); at != std::sregex_iterator(); ++at) {
        if ((*at)[1] != "return") faults.push_back(file + ": " + (*at)[0].str());
    }
}

TEST(NamesTest, MembersOfClassesAloneBearATag)
{
    EXPECT_THAT(CheckLines(HouseAnd({"bench", "codec", "fuzz", "recorder", "tests"}), CheckUntagged),
                IsEmpty());
    Faults faults;
    CheckUntagged("a.h", std::string("    int") + " iWidth;", faults);
    CheckUntagged("a.h", std::string("void Take(const Setup& setup, IPackets*") + " pPackets = nullptr);",
                  faults);
    CheckUntagged("a.h", std::string("void Move(double") + " dX, double y);", faults);
    CheckUntagged("a.h", "    return m_pPackets;", faults);
    CheckUntagged("a.h", "    std::int32_t m_iWidth = 0;", faults);
    EXPECT_THAT(faults, ElementsAre("a.h: int iWidth;", "a.h: IPackets* pPackets =", "a.h: double dX,"));
}

// A variable of a file, or of a thread, without the letter that says so.
void CheckFileVariable(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex variable(
        R"(^(?:(?:static|constinit|thread_local) )*([A-Za-z_][\w:]*(?:<[^;={()]*>)?\*?))"
        R"( [\*&]?([a-z]\w*)(?: =|[;{\[]| GUARDED_BY).*)");
    static const std::set<std::string> other = {"namespace", "using",  "return", "const", "constexpr", "extern",
                                                "class",     "struct", "enum",   "union", "template"};
    const std::string form = line.find("thread_local ") < line.find('=') ? "t_" : "g_";
    std::smatch match;
    if (std::regex_match(line, match, variable) && other.count(match[1]) == 0 &&
        !match[2].str().starts_with(form))
        faults.push_back(file + ": " + line);
}

TEST(NamesTest, VariablesOfFilesAndThreadsSaySo)
{
    EXPECT_THAT(CheckLines(HouseAnd({"bench", "codec", "fuzz", "recorder", "tests"}), CheckFileVariable),
                IsEmpty());
    Faults faults;
    CheckFileVariable("a.cpp", "std::atomic<const Mask*> mask{nullptr};", faults);
    CheckFileVariable("a.cpp", "thread_local bool inside = false;", faults);
    CheckFileVariable("a.cpp", "std::atomic<int> g_iMask{0};", faults);
    CheckFileVariable("a.cpp", "thread_local bool t_bInside = false;", faults);
    CheckFileVariable("a.cpp", "constinit thread_local bool g_bInside = false;", faults);
    CheckFileVariable("a.cpp", "struct c264_mb;", faults);
    CheckFileVariable("a.cpp", "std::vector<int> Rows(std::vector<int>* found = nullptr)", faults);
    CheckFileVariable("a.cpp", "    int inside = 0;", faults);
    EXPECT_THAT(faults, ElementsAre("a.cpp: std::atomic<const Mask*> mask{nullptr};",
                                    "a.cpp: thread_local bool inside = false;",
                                    "a.cpp: constinit thread_local bool g_bInside = false;"));
}

// A comment of a header and the type or function at the left edge right beneath it: a contract that has the
// form of a note.
void CheckContract(const std::string& above, const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex note(R"(//(?!/).*)");
    static const std::regex declared(
        R"((?:template <|class |struct |enum |using |[A-Za-z_][\w:<>,\*& ]*\().*)");
    if (file.ends_with(".h") && std::regex_match(above, note) && std::regex_match(line, declared))
        faults.push_back(file + ": " + line);
}

TEST(NamesTest, ContractsHaveOneForm)
{
    std::string above;
    const auto check = [&above](const std::string& file, const std::string& line, Faults& faults) {
        CheckContract(above, file, line, faults);
        above = line;
    };
    EXPECT_THAT(CheckLines(HouseAnd({"recorder"}), check), IsEmpty());
    Faults faults;
    CheckContract("// Nothing.", "a.h", "class CThing", faults);
    CheckContract("// Nothing.", "a.h", "std::optional<int> Find(int number);", faults);
    CheckContract("/// Nothing.", "a.h", "class CThing", faults);
    CheckContract("// Of this page.", "a.h", "", faults);
    CheckContract("// Nothing.", "a.cpp", "class CThing", faults);
    EXPECT_THAT(faults, ElementsAre("a.h: class CThing", "a.h: std::optional<int> Find(int number);"));
}

// A variable, parameter, field or function in lower case with underscores, which is codec's form.
void CheckUnderscores(const std::string& file, const std::string& line, Faults& faults)
{
    // What writes headers as the standards say calls their fields as these do.
    static const std::set<std::string> syntax = {"tests/support/h264_syntax.h", "tests/support/mpeg4_writer.h",
                                                 "tests/codec/c264/c264_handmade_support.h"};
    static const std::set<std::string> named = {"nal_ref_idc", "nal_unit_type", "slice_qp"};
    static const std::regex declared(
        R"((?:\b(?:auto|int|bool|char|double|float|unsigned|\w+_t|\w+_fn|string|[A-Z]\w+|(?:c264|codec|mpeg4)_\w+)|>))"
        R"((?: [&\*]?|[&\*] )(?:const )?([a-z][a-z0-9]*(?:_[a-z0-9]+)+)(?= =|[;,)({\[]| :))");
    if (syntax.count(file) != 0) return;
    const std::string code = line.substr(0, line.find("//"));
    if (code.find('"') != std::string::npos || code.starts_with('#')) return;
    for (auto at = std::sregex_iterator(code.begin(), code.end(), declared); at != std::sregex_iterator();
         ++at) {
        if (named.count((*at)[1]) == 0) faults.push_back(file + ": " + (*at)[0].str());
    }
}

TEST(NamesTest, TestsBenchesAndFuzzTargetsUseNoUnderscores)
{
    EXPECT_THAT(CheckLines({"bench", "fuzz", "tests"}, CheckUnderscores), IsEmpty());
    Faults faults;
    CheckUnderscores("a.h", "    const int row_bytes = 4;  // int a_b = 1;", faults);
    CheckUnderscores("a.h", "void Flat(Bits* bits, std::uint32_t first_type)", faults);
    CheckUnderscores("a.h", "    const auto [to_size, size] = Sizes();", faults);
    CheckUnderscores("a.h", "    for (const Unit& next_unit : units)", faults);
    CheckUnderscores("a.h", "    return av_frame_alloc() && decoder.mb_width;", faults);
    EXPECT_THAT(faults, ElementsAre("a.h: int row_bytes", "a.h: uint32_t first_type", "a.h: Unit& next_unit"));
}

void CheckRecord(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex record(R"(^\s*(class|struct) (X[A-Z][a-z]\w*)[^;]*$)");
    static const std::set<std::string> named = {"XTimeSpan"};
    std::smatch match;
    if (std::regex_match(line, match, record) && named.count(match[2]) == 0 &&
        !file.starts_with("model/layout/"))
        faults.push_back(file + ": " + line);
}

TEST(NamesTest, LayoutRecordsAloneBearAnX)
{
    EXPECT_THAT(CheckLines(HOUSE, CheckRecord), IsEmpty());
    Faults faults;
    CheckRecord("remote/a.h", "struct XThing {", faults);
    CheckRecord("model/layout/a.h", "struct XThing {", faults);
    EXPECT_THAT(faults, ElementsAre("remote/a.h: struct XThing {"));
}

// By the class: the headers that declare it.
TEST(NamesTest, NoTwoHeadersDeclareAClassOfOneName)
{
    std::map<std::string, std::set<std::string>> headers;
    CheckLines(HouseAnd({"bench", "codec", "recorder", "tests"}), [&headers](const std::string& file,
                                                                             const std::string& line, Faults&) {
        static const std::regex declared(R"(^class (?:CAPABILITY\(\S+\) |SCOPED_CAPABILITY )?(\w+)[^;]*)");
        std::smatch match;
        if (file.ends_with(".h") && std::regex_match(line, match, declared)) headers[match[1]].insert(file);
    });
    EXPECT_GT(headers.size(), 100U);
    for (const auto& [name, files] : headers)
        EXPECT_THAT(files, testing::SizeIs(1)) << name;
}

// By the file's name without case and underscores: the headers of it. The recorder is a program of its own.
TEST(NamesTest, NoTwoHeadersBearOneName)
{
    std::map<std::string, std::set<std::string>> headers;
    for (const std::string& folder : HOUSE) {
        for (const auto& entry : fs::recursive_directory_iterator(SourcePath(folder))) {
            if (entry.path().extension() != ".h") continue;
            std::string name;
            for (const char c : entry.path().stem().string())
                if (c != '_') name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            headers[name].insert(fs::relative(entry.path(), SourcePath()).string());
        }
    }
    EXPECT_GT(headers.size(), 100U);
    for (const auto& [name, files] : headers)
        EXPECT_THAT(files, testing::SizeIs(1)) << name;
}

// Those that all share lie in a folder of that name.
TEST(NamesTest, HelpersOfTestsAreNamedSo)
{
    std::vector<std::string> others;
    std::size_t helpers = 0;
    for (const auto& entry : fs::recursive_directory_iterator(SourcePath("tests"))) {
        const std::string path = fs::relative(entry.path(), SourcePath("tests")).string();
        if (entry.path().extension() != ".h" || path.starts_with("support/")) continue;
        ++helpers;
        if (!path.ends_with("_support.h")) others.push_back(path);
    }
    EXPECT_GT(helpers, 20U);
    EXPECT_THAT(others, IsEmpty());
}

std::set<std::string> OddityKeys(const std::vector<std::string>& folders)
{
    std::set<std::string> keys;
    CheckLines(folders, [&keys](const std::string&, const std::string& line, Faults&) {
        static const std::regex mark(R"(oddity: ([a-z0-9-]+))");
        for (auto at = std::sregex_iterator(line.begin(), line.end(), mark); at != std::sregex_iterator(); ++at)
            keys.insert((*at)[1]);
    });
    return keys;
}

// A second form of the mark, which a search for the first one would not show.
void CheckMark(const std::string& file, const std::string& line, Faults& faults)
{
    static const std::regex other(R"(.*//.*\b[Ss]ettled: .*)");
    if (std::regex_match(line, other)) faults.push_back(file + ":" + line);
}

TEST(NamesTest, SettledOdditiesHaveOneMark)
{
    EXPECT_THAT(CheckLines(HouseAnd({"codec", "recorder", "tests"}), CheckMark), IsEmpty());
    Faults faults;
    CheckMark("a.cpp", std::string("    /") + "/ Settled: two are one.", faults);
    CheckMark("a.cpp", "    // The language is settled once.", faults);
    EXPECT_THAT(faults, ElementsAre(testing::StartsWith("a.cpp:    ")));
}

// By the key as it stands, or as a part of a test's name: "size-counts-header" is SizeCountsHeader there.
TEST(NamesTest, EachSettledOddityHasItsTest)
{
    std::set<std::string> untested = OddityKeys(HouseAnd({"codec", "recorder"}));
    EXPECT_GT(untested.size(), 10U);
    CheckLines({"tests"}, [&untested](const std::string&, const std::string& line, Faults&) {
        std::erase_if(untested, [&line](const std::string& key) {
            std::string name;
            for (std::size_t at = 0; at < key.size(); ++at)
                if (key[at] != '-')
                    name += at == 0 || key[at - 1] == '-' ? static_cast<char>(std::toupper(key[at])) : key[at];
            return line.find(key) != std::string::npos || line.find(name) != std::string::npos;
        });
    });
    EXPECT_THAT(untested, IsEmpty());
}

}  // namespace
