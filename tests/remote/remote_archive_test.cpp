#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "model/archive/XMLInputArchive.h"
#include "model/archive/XMLOutputArchive.h"
#include "model/tree/Folder.h"
#include "remote/RemoteClasses.h"
#include "remote/RemoteStation.h"
#include "remote/TcpRemote.h"

namespace
{

using testing::HasSubstr;
using namespace std::string_literals;

std::string Write(CNode* child)
{
    RegisterRemoteClasses();
    CFolder root;
    root.Add(child, nullptr);
    XMLOutputArchive archive;
    archive& Named("root", root);
    return archive.GetText();
}

// The first child of the folder that the text holds.
template <class T>
T& ReadFirst(CFolder& root, const std::string& text)
{
    RegisterRemoteClasses();
    XMLInputArchive archive(text, "test");
    archive& Named("root", root);
    return dynamic_cast<T&>(*root.CreateIterator()->CurrentItem());
}

// Position of each name's element in the text, which must be rising.
void ExpectInOrder(const std::string& text, const std::vector<std::string>& names)
{
    std::size_t at = text.find("<item");
    for (const std::string& name : names) {
        at = text.find("<" + name, at);
        ASSERT_NE(at, std::string::npos) << name << " in " << text;
    }
}

TEST(RemoteClasses, EachIsRegisteredUnderItsName)
{
    RegisterRemoteClasses();
    RegisterRemoteClasses();
    for (const char* name : {"CDevice", "CStation", "CRemote", "CRemoteStation", "CTcpRemote", "CUdpRemote",
                             "CUdpRemoteStation"}) {
        const IFactory* const factory = FindFactoryByClassName(name);
        ASSERT_NE(factory, nullptr) << name;
        EXPECT_EQ(factory->GetTypeName(), "class "s + name);
        EXPECT_EQ(factory->GetRootType(), typeid(CNode));
    }
    EXPECT_EQ(FindFactoryByClassName("CTcpRemoteStation"), nullptr);  // a name and nothing more
}

TEST(RemoteArchive, ATcpRemoteWritesItsBasesFirst)
{
    const std::string text = Write(new CTcpRemote);
    EXPECT_THAT(text, HasSubstr("<item classname=\"CTcpRemote\">"));
    ExpectInOrder(text, {"m_strNodeName", "m_bRecordModeAuto", "m_iAutoRecordMode", "m_iAutoRecordType",
                         "m_tBeginDateTime", "m_tEndDateTime", "m_arrayAutoRecordMode", "m_iNetID", "m_iDevID",
                         "m_strNetAddress"});
}

TEST(RemoteArchive, ADeviceWritesNoNetId)
{
    const std::string text = Write(new CDevice);
    EXPECT_THAT(text, HasSubstr("m_arrayAutoRecordMode"));
    EXPECT_THAT(text, testing::Not(HasSubstr("m_iNetID")));
}

TEST(RemoteArchive, ARemoteStationWritesItsPasswordAsPlainTextAsIntended)
{
    auto* const station = new CRemoteStation;
    station->m_szPassWord = "secret";
    const std::string text = Write(station);
    ExpectInOrder(text, {"m_strNodeName", "m_list", "m_szDDNS", "m_szUserName", "m_szPassWord", "m_iNetID",
                         "m_PrimitiveAddr"});
    EXPECT_THAT(text, HasSubstr("<m_szPassWord>secret</m_szPassWord>"));
}

TEST(RemoteArchive, ATcpRemoteForPlaybackComesBackWithMode3AndNoRecordAsTheseAreNotSaved)
{
    auto* const saved = new CTcpRemote(MODE_PLAYBACK, 17);
    saved->SetName("cam");
    saved->m_strNetAddress = "10.0.0.1";
    saved->m_iNetID = 1001;
    saved->m_iDevID = 4;
    saved->m_tEndDateTime = 5000000000;
    saved->SetArray(47, {1, 2, 3});
    saved->SetStatus(2);
    const std::string text = Write(saved);

    CFolder root;
    auto& read = ReadFirst<CTcpRemote>(root, text);
    EXPECT_EQ(read.GetMode(), 3);
    EXPECT_EQ(read.GetRecordID(), -1);
    EXPECT_TRUE(read.m_bVisible);
    EXPECT_EQ(read.GetStatus(), 0);
    EXPECT_EQ(read.GetName(), "cam");
    EXPECT_EQ(read.m_strNetAddress, "10.0.0.1");
    EXPECT_EQ(read.m_iNetID, 1001);
    EXPECT_EQ(read.m_iDevID, 4);
    EXPECT_EQ(read.m_tEndDateTime, 5000000000);
    EXPECT_EQ(read.m_arrayAutoRecordMode, (std::vector<std::int32_t>{1, 2, 3}));
    EXPECT_EQ(read.GetParent(), &root);
}

TEST(RemoteArchive, AStationComesBackWithItsDevices)
{
    auto* const station = new CRemoteStation;
    station->SetName("1001");
    station->m_PrimitiveAddr = "1001";
    station->m_iNetID = 1001;
    auto* const devices = new CDevices;
    devices->Add(new CTcpRemote, nullptr);
    station->Add(devices, nullptr);
    const std::string text = Write(station);

    CFolder root;
    auto& read = ReadFirst<CRemoteStation>(root, text);
    EXPECT_EQ(read.m_PrimitiveAddr, "1001");
    EXPECT_EQ(read.m_iNetID, 1001);
    auto* const folder = dynamic_cast<CDevices*>(read.CreateIterator()->CurrentItem());
    ASSERT_NE(folder, nullptr);
    EXPECT_NE(dynamic_cast<CTcpRemote*>(folder->CreateIterator()->CurrentItem()), nullptr);
}

TEST(RemoteArchive, AMissingScheduleLeavesThe168Elements)
{
    CFolder root;
    const auto& read =
        ReadFirst<CDevice>(root,
                           "<r><root><m_list><item classname=\"CDevice\"><m_strNodeName>a</m_strNodeName>"
                           "</item></m_list></root></r>");
    EXPECT_EQ(read.m_arrayAutoRecordMode.size(), 168u);
}

}  // namespace
