#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "model/ModelClasses.h"
#include "model/archive/ClassRegistration.h"
#include "model/layout/LayoutRecords.h"
#include "model/tree/Folder.h"
#include "model/tree/Leaf.h"

namespace
{

class CTestLeaf : public CLeaf
{
};

TEST(Registry, KnowsEveryClassOfTheModelByBothNames)
{
    RegisterModelClasses();
    RegisterModelClasses();  // once is enough, twice does no harm
    for (const char* name :
         {"XRect", "XWnd", "XMainWnd", "XRenderWnd", "XSubRender", "CFolder", "CDevices", "CLeaf",
          "CGlobalSetting", "CStorageSetting", "CNetworkSetting", "CSystemSetting", "CLogSetting"}) {
        IFactory* const factory = FindFactoryByClassName(name);
        ASSERT_NE(factory, nullptr) << name;
        EXPECT_EQ(factory->GetClassName(), name);
        EXPECT_EQ(factory->GetTypeName(), std::string("class ") + name);
        EXPECT_EQ(FindFactoryByTypeName(factory->GetTypeName()), factory);
    }
}

TEST(Registry, ArchivesFindTheModelsClassesWithoutAnyoneRegisteringThem)
{
    XMLInputArchive archive("<r><v><item classname=\"XRect\"><left>1</left></item></v></r>", "test");
    COwnedList<XRect> list;
    archive& Named("v", list);
    EXPECT_EQ(list.size(), 1u);
}

TEST(Registry, AFactoryLinksAndUnlinksItself)
{
    EXPECT_EQ(FindFactoryByClassName("CTestLeaf"), nullptr);
    {
        const CClassRegistration<CTestLeaf> registration("CTestLeaf");
        EXPECT_NE(FindFactoryByClassName("CTestLeaf"), nullptr);
    }
    EXPECT_EQ(FindFactoryByClassName("CTestLeaf"), nullptr);
}

TEST(Registry, FactoriesMayGoInAnyOrderAndTheLatestWins)
{
    std::optional<ObjectFactory<CTestLeaf>> first("Same");
    std::optional<ObjectFactory<CLeaf>> second("Same");
    std::optional<ObjectFactory<CFolder>> third("Other");
    EXPECT_EQ(FindFactoryByClassName("Same"), &*second);
    second.reset();
    EXPECT_EQ(FindFactoryByClassName("Same"), &*first);
    EXPECT_EQ(FindFactoryByClassName("Other"), &*third);
    first.reset();
    EXPECT_EQ(FindFactoryByClassName("Same"), nullptr);
}

TEST(Registry, AFactoryBuildsObjectsOfItsClass)
{
    const ObjectFactory<CTestLeaf> factory("CTestLeaf");
    const std::unique_ptr<CNode> node(static_cast<CNode*>(factory.Create()));
    EXPECT_NE(dynamic_cast<CTestLeaf*>(node.get()), nullptr);
    EXPECT_EQ(factory.GetRootType(), typeid(CNode));
    EXPECT_EQ(ObjectFactory<XRect>("XRect").GetRootType(), typeid(XRect));
}

TEST(Registry, AnArchiveWithoutASerializerThrowsThePlainText)
{
    ObjectFactory<CTestLeaf> factory("CTestLeaf");
    const Serializer<XMLOutputArchive, CTestLeaf> output(factory);
    CTestLeaf leaf;
    XMLInputArchive archive("<r><m_strNodeName>a</m_strNodeName></r>", "test");
    try {
        factory.Serialize("class XMLInputArchive", &archive, static_cast<CNode*>(&leaf));
        FAIL() << "nothing was thrown";
    } catch (const char* text) {
        EXPECT_STREQ(text, "trying to access unregistered serializer type");
    }
}

TEST(Registry, ASerializerIsFoundByItsArchivesNameAndUnlinksItself)
{
    ObjectFactory<CTestLeaf> factory("CTestLeaf");
    CTestLeaf leaf;
    XMLInputArchive archive("<r><m_strNodeName>a</m_strNodeName></r>", "test");
    {
        const Serializer<XMLInputArchive, CTestLeaf> input(factory);
        const Serializer<XMLOutputArchive, CTestLeaf> output(factory);
        EXPECT_EQ(input.GetArchiveType(), "class XMLInputArchive");
        factory.Serialize("class XMLInputArchive", &archive, static_cast<CNode*>(&leaf));
        EXPECT_EQ(leaf.GetName(), "a");
    }
    EXPECT_THROW(factory.Serialize("class XMLInputArchive", &archive, static_cast<CNode*>(&leaf)), const char*);
}

TEST(Registry, TheBareNameLiesBetweenTheFirstTwoBlanks)
{
    EXPECT_EQ(GetBareClassName("class CFolder"), "CFolder");
    EXPECT_EQ(GetBareClassName("class CFolder * __ptr64"), "CFolder");
    EXPECT_EQ(GetBareClassName("CFolder"), "CFolder");
    EXPECT_EQ(GetBareClassName(""), "");
    EXPECT_EQ(GetRuntimeTypeName(typeid(CFolder)), "class CFolder");
}

}  // namespace
