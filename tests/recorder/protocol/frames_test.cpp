#include "recorder/protocol/Frames.h"

#include <gmock/gmock.h>

#include "recorder/protocol/Commands.h"

namespace
{

using namespace recorder;

Bytes TextOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

TEST(FramesTest, ATextIsFramedWithoutTerminator)
{
    EXPECT_EQ(MakeFrame(TextOf("LeftStart:3")),
              (Bytes{15, 0, 0, 0, 'L', 'e', 'f', 't', 'S', 't', 'a', 'r', 't', ':', '3'}));
}

TEST(FramesTest, FramesComeInPiecesAndTogether)
{
    Bytes stream = MakeFrame(TextOf("one"));
    for (const Bytes& more : {MakeFrame({}), MakeFrame(TextOf("three"))})
        stream.insert(stream.end(), more.begin(), more.end());
    FrameReader whole(100);
    whole.Add(stream);
    EXPECT_EQ(whole.Next(), TextOf("one"));
    EXPECT_EQ(whole.Next(), Bytes()) << "a length of 4 is an empty body";
    EXPECT_EQ(whole.Next(), TextOf("three"));
    EXPECT_EQ(whole.Next(), std::nullopt);
    EXPECT_FALSE(whole.Damaged());

    FrameReader pieces(100);
    std::vector<Bytes> got;
    for (const uint8_t byte : stream) {
        pieces.Add(std::span(&byte, 1));
        while (const auto body = pieces.Next())
            got.push_back(*body);
    }
    EXPECT_THAT(got, testing::ElementsAre(TextOf("one"), Bytes(), TextOf("three")));
}

TEST(FramesTest, ALengthThatCanNotBeEndsAllUnderstanding)
{
    for (const uint32_t length : {0U, 1U, 3U, 101U, 65536U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        FrameReader reader(100);
        Bytes bytes(8);
        WriteU32(bytes.data(), length);
        reader.Add(bytes);
        EXPECT_EQ(reader.Next(), std::nullopt) << length;
        EXPECT_TRUE(reader.Damaged()) << length;
        reader.Add(MakeFrame(TextOf("sound")));
        EXPECT_EQ(reader.Next(), std::nullopt) << length;
    }
    FrameReader bound(100);
    bound.Add(MakeFrame(Bytes(96, 'x')));
    EXPECT_EQ(bound.Next(), Bytes(96, 'x')) << "as long as allowed";
}

TEST(FramesTest, RequestAndReplyHaveTheirPlaces)
{
    const Bytes request = {16, 0, 0, 0, 2, 0, 0, 0, 7, 1, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(ParseDirectRequest(std::span(request).subspan(4)), (StreamRequest{2, 263, -1}));
    for (const size_t bytes : {0U, 11U, 13U})
        EXPECT_EQ(ParseDirectRequest(Bytes(bytes)), std::nullopt);
    EXPECT_EQ(MakeDirectReply(EReply::Stream, 704, 576),
              (Bytes{24, 0, 0, 0, 1, 0, 0, 0, 0xC0, 2, 0, 0, 0x40, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_THAT(MakeMediaHeader(0, 1000), testing::ElementsAre(0xF0, 3, 0, 0, 0, 0, 0, 0));
}

TEST(CommandsTest, EveryMotorStartsAndStops)
{
    const char* const names[MOTORS] = {"Left",      "Right",    "Up",      "Down",    "Scan",
                                       "SoftScan",  "ZoomIn",   "ZoomOut", "FocusIn", "FocusOut",
                                       "IrisClose", "IrisOpen", "Rain",    "Light"};
    for (int motor = 0; motor < MOTORS; ++motor) {
        Command expected;
        expected.kind = Command::EKind::Start;
        expected.motor = static_cast<EMotor>(motor);
        expected.channel = 12;
        EXPECT_EQ(ParseCommand(std::string(names[motor]) + "Start:12"), expected) << names[motor];
        expected.kind = Command::EKind::Stop;
        EXPECT_EQ(ParseCommand(std::string(names[motor]) + "Stop:12"), expected) << names[motor];
    }
}

TEST(CommandsTest, ColoursHaveAValue)
{
    const char* const names[COLOURS] = {"SetBright", "SetContrast", "SetHue", "SetSaturation"};
    for (int colour = 0; colour < COLOURS; ++colour)
        EXPECT_EQ(ParseCommand(std::string(names[colour]) + ":0:128"),
                  (Command{Command::EKind::Set, EMotor::Left, static_cast<EColour>(colour), 0, 128}));
    EXPECT_EQ(ParseCommand("SetHue:3:-5")->value, -5);
}

TEST(CommandsTest, AnythingElseIsNone)
{
    for (const char* text : {"", ":", "Left", "LeftStart", "LeftStart:", "LeftStart:x", "LeftStart:1x",
                             "LeftStart:1:2", "Start:1", "leftStart:1", "LeftStarts:1", "SetHue:1", "SetHue:1:",
                             "SetHue:1:2:3", "SetAll:1:2", "Set:1:2", "LeftStart:99999999999", " LeftStart:1"})
        EXPECT_EQ(ParseCommand(text), std::nullopt) << text;
}

}  // namespace
