#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bitset>
#include <filesystem>
#include <rapidxml/rapidxml.hpp>
#include <stdexcept>
#include <string>

#include "model/archive/XMLInputArchive.h"
#include "model/layout/LayoutRecords.h"
#include "model/settings/GlobalSetting.h"
#include "model/tree/CompositeIterator.h"
#include "model/tree/Devices.h"
#include "model/tree/Leaf.h"
#include "tests/model/model_support.h"

namespace
{

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;
using namespace std::string_literals;

// Reads the value "v" of a text that holds `element` beneath its root.
template <class T>
T ReadValue(const std::string& element, T value)
{
    XMLInputArchive archive("<root>" + element + "</root>", "test");
    archive& Named("v", value);
    return value;
}

template <class T>
void ReadInto(const std::string& element, T& value)
{
    XMLInputArchive archive("<root>" + element + "</root>", "test");
    archive& Named("v", value);
}

TEST(InputArchive, ThrowsForAFileThatIsNotThereWithItsNameAsGiven)
{
    const CTestFolder folder;
    const std::string path = folder.System("config\\missing.xml");
    EXPECT_THAT([&] { const XMLInputArchive archive(path); },
                ThrowsMessage<std::runtime_error>("cannot open file " + path));
}

TEST(InputArchive, ThrowsForAFolderInThePlaceOfTheFile)
{
    const CTestFolder folder;
    std::filesystem::create_directories(folder.Path("layout.xml"));
    const std::string path = folder.System("layout.xml");
    EXPECT_THAT([&] { const XMLInputArchive archive(path); },
                ThrowsMessage<std::runtime_error>("cannot open file " + path));
}

TEST(InputArchive, ReadsAFileWhateverItsRootIsCalled)
{
    const CTestFolder folder;
    folder.Write("a.xml", "<?xml version=\"1.0\"?><!-- a --><any><v>7</v></any>");
    XMLInputArchive archive(folder.System("a.xml"));
    std::int32_t value = 0;
    archive& Named("v", value);
    EXPECT_EQ(value, 7);
}

TEST(InputArchive, AMissingElementLeavesTheFieldItsDefault)
{
    XRect rect{1, 2, 3, 4};
    ReadInto("<v><left>10</left><top>20</top><right>100</right></v>", rect);
    EXPECT_EQ(rect, (XRect{10, 20, 100, 4}));
}

TEST(InputArchive, NamesAreCaseSensitiveAndTheFirstOfANameCounts)
{
    EXPECT_EQ(ReadValue<std::int32_t>("<V>1</V><v>2</v><v>3</v>", 0), 2);
}

TEST(InputArchive, AFileWithoutElementsThrowsAndIsNamed)
{
    for (const char* text : {"", "   \n", "<!-- nothing -->"}) {
        EXPECT_THAT([&] { XMLInputArchive(text, "empty.xml"); },
                    ThrowsMessage<std::runtime_error>("no element in empty.xml"))
            << text;
    }
}

TEST(InputArchive, MalformedTextThrowsTheParsersErrorWithFileAndLine)
{
    EXPECT_THAT([] { XMLInputArchive("<a>\n<b\n c='1'>\n</b>\n<d\n</a>\n", "bad.xml"); },
                ThrowsMessage<rapidxml::parse_error>("bad.xml, line 6: expected >"));
    EXPECT_THAT([] { XMLInputArchive("<a>", "cut.xml"); },
                ThrowsMessage<rapidxml::parse_error>("cut.xml, line 1: unexpected end of data"));
}

struct IntegerCase {
    const char* element;
    std::int32_t asSigned;
    std::uint32_t asUnsigned;
};

class InputArchiveInteger : public testing::TestWithParam<IntegerCase>
{
};

TEST_P(InputArchiveInteger, IsRead)
{
    EXPECT_EQ(ReadValue<std::int32_t>(GetParam().element, 77), GetParam().asSigned);
    EXPECT_EQ(ReadValue<std::uint32_t>(GetParam().element, 77), GetParam().asUnsigned);
}

// 77 is the value before.
INSTANTIATE_TEST_SUITE_P(
    Cases, InputArchiveInteger,
    testing::Values(IntegerCase{"<v>12</v>", 12, 12}, IntegerCase{"<v/>", 77, 77},
                    IntegerCase{"<v></v>", 77, 77}, IntegerCase{"<v>  </v>", 77, 77},
                    IntegerCase{"<v> 12 </v>", 12, 12}, IntegerCase{"<v>\n\t12</v>", 12, 12},
                    IntegerCase{"<v>+12</v>", 12, 12}, IntegerCase{"<v>12px</v>", 12, 12},
                    IntegerCase{"<v>-12</v>", -12, 77},
                    IntegerCase{"<v>2147483647</v>", 2147483647, 2147483647},
                    IntegerCase{"<v>-2147483648</v>", -2147483647 - 1, 77},
                    IntegerCase{"<v>4294967295</v>", 77, 4294967295}, IntegerCase{"<v>99999999999</v>", 77, 77},
                    IntegerCase{"<v>text</v>", 77, 77}, IntegerCase{"<v><w>5</w></v>", 77, 77},
                    IntegerCase{"<v>&#49;2</v>", 12, 12}, IntegerCase{"<v><![CDATA[12]]></v>", 77, 77}));

TEST(InputArchive, ReadsATimeBeyond32Bits)
{
    EXPECT_EQ(ReadValue<std::int64_t>("<v>5000000000</v>", 0), 5000000000);
}

TEST(InputArchive, TrueHasThreeSpellingsAndAllElseIsFalse)
{
    for (const char* text : {"True", "true", "TRUE"}) {
        EXPECT_TRUE(ReadValue("<v>"s + text + "</v>", false)) << text;
    }
    for (const char* text : {"False", "FALSE", "false", "tRUE", "1", " True", "yes"}) {
        EXPECT_FALSE(ReadValue("<v>"s + text + "</v>", true)) << text;
    }
}

TEST(InputArchive, AnEmptyElementLeavesABooleanAndATextUnchanged)
{
    EXPECT_TRUE(ReadValue("<v/>", true));
    EXPECT_FALSE(ReadValue("<v></v>", false));
    EXPECT_EQ(ReadValue("<v></v>", "before"s), "before");
}

TEST(InputArchive, ReadsTextAsItStands)
{
    EXPECT_EQ(ReadValue("<v> a &lt; b &amp; c\n</v>", ""s), " a < b & c\n");
    EXPECT_EQ(ReadValue("<v>\xE9\x80\x9A\xE9\x81\x93</v>", ""s), "\xE9\x80\x9A\xE9\x81\x93");
    EXPECT_EQ(ReadValue("<v>a&#0;b</v>", ""s), "a\0b"s);
}

TEST(InputArchive, AZeroByteEndsTheText)
{
    EXPECT_THROW(ReadValue("<v>12\0</v>"s, 0), std::exception);
    const std::string text = "<root><v>12</v></root>\0<garbage"s;
    XMLInputArchive archive(text, "test");
    std::int32_t value = 0;
    archive& Named("v", value);
    EXPECT_EQ(value, 12);
}

using Bits = std::bitset<26>;

TEST(InputArchive, ReadsABitSetHighestBitFirst)
{
    EXPECT_EQ(ReadValue("<v>10000000000000000000000001</v>", Bits(6)), Bits(0x2000001));
}

TEST(InputArchive, AShorterBitSetFillsTheLowBits)
{
    EXPECT_EQ(ReadValue("<v>1100</v>", Bits(0x3000000)), Bits(12));
}

TEST(InputArchive, ALongerBitSetIsReadAsFarAsItFits)
{
    EXPECT_EQ(ReadValue("<v>00000000000000000000000001x1</v>", Bits()), Bits(1));
}

TEST(InputArchive, AnEmptyBitSetLeavesTheFieldUnchanged)
{
    EXPECT_EQ(ReadValue("<v/>", Bits(9)), Bits(9));
}

TEST(InputArchive, ABadCharacterInABitSetThrows)
{
    for (const char* text : {"0120", "01 ", "true"}) {
        EXPECT_THAT([&] { ReadValue("<v>"s + text + "</v>", Bits()); },
                    ThrowsMessage<std::invalid_argument>("invalid bitset<N> char"))
            << text;
    }
}

TEST(InputArchive, ReadsAListInDocumentOrderAndSkipsOtherChildren)
{
    COwnedList<XRect> list;
    list.Append(std::make_unique<XRect>());
    ReadInto(
        "<v><item classname=\"XRect\"><left>1</left></item><other classname=\"XWnd\"/>text"
        "<item classname=\"XRect\"><left>2</left></item></v>",
        list);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0]->left, 1);
    EXPECT_EQ(list[1]->left, 2);
}

TEST(InputArchive, AListWithoutItemsIsEmptiedAndAMissingOneStays)
{
    COwnedList<XRect> list;
    list.Append(std::make_unique<XRect>());
    ReadInto("<w/>", list);
    EXPECT_EQ(list.size(), 1u);
    ReadInto("<v/>", list);
    EXPECT_TRUE(list.empty());
}

TEST(InputArchive, AnItemWithoutChildrenGivesANullEntry)
{
    COwnedList<XRect> list;
    ReadInto("<v><item classname=\"XRect\"/><item classname=\"XRect\"><left>2</left></item><item>\n</item></v>",
             list);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0], nullptr);
    EXPECT_EQ(list[1]->left, 2);
    EXPECT_EQ(list[2], nullptr);
}

TEST(InputArchive, AClassNameAsTheSecondAttributeIsNotHonoured)
{
    COwnedList<XRect> list;
    EXPECT_THAT(
        [&] {
            XMLInputArchive archive("<r><v><item a=\"\" classname=\"XRect\"><left>2</left></item></v></r>",
                                    "f.xml");
            archive& Named("v", list);
        },
        ThrowsMessage<std::runtime_error>("no class named \"\" for f.xml"));
}

TEST(InputArchive, AnItemWithoutAClassNameTakesTheOneLastRead)
{
    COwnedList<XRect> list;
    ReadInto("<v><item classname=\"XRect\"><left>1</left></item><item><left>2</left></item></v>", list);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1]->left, 2);
}

TEST(InputArchive, AClassNameIsReadFromEveryElementOnTheWay)
{
    COwnedList<XRect> list;
    ReadInto("<v classname=\"XRect\"><item><left>1</left></item></v>", list);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0]->left, 1);
}

TEST(InputArchive, AnUnknownClassThrowsAndIsNamed)
{
    COwnedList<XRect> list;
    EXPECT_THAT([&] { ReadInto("<v><item classname=\"XNoSuch\"><left>1</left></item></v>", list); },
                ThrowsMessage<std::runtime_error>("no class named \"XNoSuch\" for test"));
}

TEST(InputArchive, AClassOfAnotherFamilyThrowsAndIsNamed)
{
    COwnedList<XRect> list;
    EXPECT_THAT([&] { ReadInto("<v><item classname=\"CFolder\"><m_list/></item></v>", list); },
                ThrowsMessage<std::runtime_error>("class \"CFolder\" in a list of XRect in test"));
    CFolder folder;
    EXPECT_THAT(
        [&] { ReadInto("<v><m_list><item classname=\"XRect\"><left>1</left></item></m_list></v>", folder); },
        ThrowsMessage<std::runtime_error>("class \"XRect\" in a list of CNode in test"));
}

TEST(InputArchive, AnExceptionLeavesWhatWasReadToItsOwners)
{
    XRenderWnd record;
    EXPECT_ANY_THROW(
        ReadInto("<v><list_subrender><item classname=\"XSubRender\"><list_rect>"
                 "<item classname=\"XRect\"><left>1</left></item>"
                 "<item classname=\"Bad\"><left>1</left></item></list_rect></item></list_subrender></v>",
                 record));
    EXPECT_TRUE(record.list_subrender.empty());
}

TEST(InputArchive, MalformedTextThrows)
{
    for (const char* text :
         {"<", "<a", "<a>", "<a><b></a>", "<a x></a>", "<a x=1/>", "text", "<a/>text", "<a>&#x110000;</a>",
          "<a><!-- </a>", "<a><![CDATA[</a>", "<?xml", "<!DOCTYPE a [", "<a b='c></a>"}) {
        EXPECT_THROW(XMLInputArchive(text, "test"), std::exception) << text;
    }
}

std::string Nested(int depth, const std::string& open, const std::string& close)
{
    std::string text;
    for (int i = 0; i < depth; ++i)
        text += open;
    for (int i = 0; i < depth; ++i)
        text += close;
    return text;
}

TEST(InputArchive, NestingIsBounded)
{
    const int limit = XMLInputArchive::MAX_DEPTH;
    EXPECT_NO_THROW(XMLInputArchive(Nested(limit, "<a>", "</a>"), "test"));
    EXPECT_THAT([&] { XMLInputArchive(Nested(limit + 1, "<a>", "</a>"), "test"); },
                ThrowsMessage<std::runtime_error>("elements nested deeper than 256 in test"));
    EXPECT_THROW(XMLInputArchive(Nested(1'000'000, "<a>", ""), "test"), std::runtime_error);
}

// Each pair looks like something that ends an element and isn't.
TEST(InputArchive, NestingIsBoundedHoweverItIsDisguised)
{
    for (const auto& [open, close] : {std::pair<const char*, const char*>{"<a b='/>'>", "</a>"},
                                      {"<a b=\"</a>\">", "</a>"},
                                      {"<a><!-- </a> -->", "</a>"},
                                      {"<a><![CDATA[</a>]]>", "</a>"},
                                      {"<a><?x </a>?>", "</a>"},
                                      {"<a><!x </a>", "</a>"},
                                      {"<a\"b>", "</a>"},
                                      {"<a>/>", "</a>"},
                                      {"<a b\"c='d'>", "</a>"},
                                      {"<a><b/>", "</a>"}}) {
        EXPECT_THAT([&] { XMLInputArchive(Nested(100'000, open, close), "test"); },
                    ThrowsMessage<std::runtime_error>(HasSubstr("nested deeper")))
            << open;
    }
}

TEST(InputArchive, ManySiblingsAreNotDeep)
{
    std::string text = "<a>";
    for (int i = 0; i < 10'000; ++i)
        text += i % 2 ? "<b/>" : "<b c='>'>x</b>";
    EXPECT_NO_THROW(XMLInputArchive(text + "</a>", "test"));
}

TEST(InputArchive, RestoresATreeWithItsParents)
{
    CFolder root;
    ReadInto(
        "<v><m_strNodeName>root</m_strNodeName><m_list>"
        "<item classname=\"CDevices\"><m_strNodeName>devices</m_strNodeName><m_list>"
        "<item classname=\"CLeaf\"><m_strNodeName>leaf</m_strNodeName></item></m_list></item>"
        "<item classname=\"CLogSetting\"><m_strNodeName>log</m_strNodeName></item></m_list></v>",
        root);
    EXPECT_EQ(root.GetName(), "root");
    EXPECT_THAT(WalkNames(root), ElementsAre("devices", "leaf", "log"));
    CNode* const devices = root.CreateIterator()->CurrentItem();
    EXPECT_NE(dynamic_cast<CDevices*>(devices), nullptr);
    EXPECT_EQ(devices->GetParent(), &root);
    root.Remove(devices);
    EXPECT_THAT(WalkNames(root), ElementsAre("log"));
}

TEST(InputArchive, ReadingAFolderAgainDeletesItsFormerChildren)
{
    CFolder root;
    AddChild<CLeaf>(root, "old");
    ReadInto("<v><m_list><item classname=\"CLeaf\"><m_strNodeName>new</m_strNodeName></item></m_list></v>",
             root);
    EXPECT_THAT(WalkNames(root), ElementsAre("new"));
    EXPECT_EQ(root.GetName(), "Unknown");
}

TEST(InputArchive, WalksSkipANullEntryOfAFolder)
{
    CFolder root;
    ReadInto("<v><m_list><item/><item classname=\"CLeaf\"><m_strNodeName>a</m_strNodeName></item></m_list></v>",
             root);
    EXPECT_THAT(WalkNames(root), ElementsAre("(null)", "a"));
    root.Remove(nullptr);
    EXPECT_EQ(root.GetCount(), 2);
}

}  // namespace
