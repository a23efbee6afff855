#include "model/settings/Language.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/model/model_support.h"

namespace
{

class Language : public CModelTest
{
  protected:
    void WriteSettings(const std::string& language) const
    {
        m_Folder.Write("config/system.ini", "[System]\nLanguage=" + language + "\n");
    }
};

TEST_F(Language, IsNullWithoutSettingsOrWithoutAName)
{
    EXPECT_EQ(CLanguage::GetInstance(), nullptr);
    m_Folder.Write("config/system.ini", "[System]\nRender=0\n");
    EXPECT_EQ(CLanguage::GetInstance(), nullptr);
    WriteSettings("");
    EXPECT_EQ(CLanguage::GetInstance(), nullptr);
}

TEST_F(Language, WithoutOneEveryKeyIsNotFound)
{
    m_Folder.Write("config/eng.ini", "[String]\nIDS_OK=fine\n");
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "Not found");
}

TEST_F(Language, IsTakenFromTheSettings)
{
    WriteSettings("cht.ini");
    m_Folder.Write("config/cht.ini", "[String]\nIDS_OK=\xE7\xA2\xBA\xE5\xAE\x9A\n");
    CLanguage* const language = CLanguage::GetInstance();
    ASSERT_NE(language, nullptr);
    EXPECT_EQ(CLanguage::GetInstance(), language);
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "\xE7\xA2\xBA\xE5\xAE\x9A");
}

TEST_F(Language, OnceSettledItStaysWhateverTheSettingsSayLater)
{
    WriteSettings("eng.ini");
    m_Folder.Write("config/eng.ini", "[String]\nIDS_OK=english\n");
    m_Folder.Write("config/chs.ini", "[String]\nIDS_OK=chinese\n");
    CLanguage* const language = CLanguage::GetInstance();
    WriteSettings("chs.ini");
    EXPECT_EQ(CLanguage::GetInstance(), language);
    EXPECT_EQ(CLanguage::SetLanguage("chs"), language);
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "english");
}

TEST_F(Language, SetLanguageNamesTheFileWithoutItsEnding)
{
    m_Folder.Write("config/chs.ini", "[String]\nIDS_OK=chinese\n");
    CLanguage* const language = CLanguage::SetLanguage("chs");
    ASSERT_NE(language, nullptr);
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "chinese");
    EXPECT_EQ(CLanguage::GetInstance(), language);
}

TEST_F(Language, SetLanguageDoesNotLookForTheFile)
{
    EXPECT_NE(CLanguage::SetLanguage("xyz"), nullptr);
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "Not found");
}

TEST_F(Language, AFileThatIsNotThereIsTold)
{
    const CDebugCapture debug;
    testing::internal::CaptureStderr();
    CLanguage::SetLanguage("xyz");
    const std::string told =
        "the language file " + m_Folder.System("config/xyz.ini") + " is missing; no text can be shown";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "watchwall: " + told + "\n");
    EXPECT_NE(debug.Text().find(told), std::string::npos) << debug.Text();
}

TEST_F(Language, AFileThatCannotBeReadIsTold)
{
    std::filesystem::create_directories(m_Folder.Path("config/xyz.ini"));
    const CDebugCapture debug;
    CLanguage::SetLanguage("xyz");
    EXPECT_NE(debug.Text().find("xyz.ini can't be read; no text can be shown"), std::string::npos)
        << debug.Text();
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "Not found");
}

TEST_F(Language, ALongNameIsCutSoItsFileIsNotFound)
{
    WriteSettings("abcdefghijkl.ini");  // 16 characters; 15 are read
    m_Folder.Write("config/abcdefghijkl.ini", "[String]\nIDS_OK=fine\n");
    EXPECT_NE(CLanguage::GetInstance(), nullptr);
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "Not found");
}

TEST_F(Language, ANameOf15CharactersIsWhole)
{
    WriteSettings("abcdefghijk.ini");
    m_Folder.Write("config/abcdefghijk.ini", "[String]\nIDS_OK=fine\n");
    CLanguage::GetInstance();
    EXPECT_EQ(CLanguage::GetString("IDS_OK"), "fine");
}

TEST_F(Language, BackslashAndNStandForALineBreak)
{
    m_Folder.Write("config/eng.ini", "[String]\nA=one\\ntwo\nB=\\nn\nC=x\\n\\ny\\\nD=\\\\n\n");
    CLanguage::SetLanguage("eng");
    EXPECT_EQ(CLanguage::GetString("A"), "one\ntwo");
    EXPECT_EQ(CLanguage::GetString("B"), "\nn");
    EXPECT_EQ(CLanguage::GetString("C"), "x\n\ny\\");
    EXPECT_EQ(CLanguage::GetString("D"), "\\\n");
}

TEST_F(Language, AMissingKeyIsNotFoundButAnEmptyTextIsEmpty)
{
    m_Folder.Write("config/eng.ini", "[String]\nIDS_Empty=\n[Other]\nIDS_Other=x\n");
    CLanguage::SetLanguage("eng");
    EXPECT_EQ(CLanguage::GetString("IDS_Missing"), "Not found");
    EXPECT_EQ(CLanguage::GetString("IDS_Other"), "Not found");
    EXPECT_EQ(CLanguage::GetString("IDS_Empty"), "");
}

TEST_F(Language, ATextOf1024CharactersOrMoreIsCut)
{
    m_Folder.Write("config/eng.ini",
                   "[String]\nA=" + std::string(1023, 'a') + "\nB=" + std::string(1024, 'b') + "\n");
    CLanguage::SetLanguage("eng");
    EXPECT_EQ(CLanguage::GetString("A"), std::string(1023, 'a'));
    EXPECT_EQ(CLanguage::GetString("B"), std::string(1023, 'b'));
}

TEST(LanguageName, FollowsTheIdentifierAndIsEnglishForAllOthers)
{
    EXPECT_STREQ(GetLanguageName(0x0804), "chs");
    EXPECT_STREQ(GetLanguageName(0x0404), "cht");
    EXPECT_STREQ(GetLanguageName(0x0C04), "cht");
    EXPECT_STREQ(GetLanguageName(0x0409), "eng");
    EXPECT_STREQ(GetLanguageName(0x0407), "eng");
    EXPECT_STREQ(GetLanguageName(0), "eng");
}

}  // namespace
