// Headers of H.264 written bit by bit: those that encoders at hand don't make.

#include "recorder/h264/Headers.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <bitset>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "recorder/h264/AnnexB.h"
#include "recorder/h264/Subset.h"
#include "tests/support/h264_bits.h"

namespace
{

using namespace recorder::h264;
using testing::HasSubstr;

// The code of a number, as the standard prints it (9.1).
std::string Ue(uint32_t value)
{
    std::string code;
    for (uint32_t rest = value + 1; rest != 0; rest >>= 1)
        code.insert(code.begin(), (rest & 1) != 0 ? '1' : '0');
    return std::string(code.size() - 1, '0') + code;
}

struct Field {
    const char* name;
    std::string bits;
};
using Fields = std::vector<Field>;

// All one macroblock large, and of the plainest tools.
Fields Sequence()
{
    return {{"profile", "01000010"},  {"level", std::string(16, '0')}, {"id", Ue(0)}, {"frame number", Ue(0)},
            {"order", Ue(0) + Ue(2)}, {"references", Ue(1)},           {"gaps", "0"}, {"size", Ue(0) + Ue(0)},
            {"frames only", "1"},     {"inference, cropping", "00"},   {"rest", "0"}};
}

Fields Picture()
{
    return {{"ids", Ue(0) + Ue(0)}, {"cabac", "0"},    {"bottom field", "0"}, {"groups", Ue(0)},
            {"references", Ue(0)},  {"list 1", Ue(0)}, {"weighted", "0"},     {"weighted B", "00"},
            {"qp", Ue(0) + Ue(0)},  {"chroma", Ue(0)}, {"deblocking", "0"},   {"constrained", "0"},
            {"redundant", "0"},     {"8x8", "0"},      {"matrices", "0"},     {"second chroma", Ue(0)}};
}

Fields Slice(bool idr, uint32_t number, uint32_t order)
{
    const auto fixed = [](uint32_t value, int count) {
        std::string bits;
        for (int i = count - 1; i >= 0; --i)
            bits += (value >> i & 1) != 0 ? '1' : '0';
        return bits;
    };
    Fields fields = {{"first", Ue(0)}, {"type", Ue(idr ? 7 : 5)}, {"set", Ue(0)}, {"number", fixed(number, 4)}};
    if (idr) fields.push_back({"idr id", Ue(0)});
    fields.push_back({"order", fixed(order, 6)});
    if (!idr) fields.insert(fields.end(), {{"override", "0"}, {"reordering", "0"}});
    fields.push_back({"marking", idr ? "00" : "0"});
    fields.push_back({"qp", Ue(0)});
    // An I macroblock without coefficients, 16x16 by its mean; or a P one that is skipped.
    fields.push_back({"macroblock", idr ? Ue(3) + Ue(0) + Ue(0) + "1" : Ue(1)});
    return fields;
}

Fields With(Fields fields, const std::string& name, const std::string& bits)
{
    const auto at =
        std::find_if(fields.begin(), fields.end(), [&](const Field& field) { return field.name == name; });
    EXPECT_NE(at, fields.end()) << name;
    if (at != fields.end()) at->bits = bits;
    return fields;
}

std::vector<uint8_t> Payload(const Fields& fields)
{
    CH264Bits bits;
    for (const Field& field : fields)
        bits.Code(field.bits);
    return bits.Trailing().Bytes();
}

struct Row {
    const char* name;
    Fields fields;
    const char* why;
};

template <class Read>
void ExpectOutside(const std::vector<Row>& rows, Read read)
{
    for (const Row& row : rows) {
        try {
            read(Payload(row.fields));
            ADD_FAILURE() << row.name << " is read";
        } catch (const Outside& outside) {
            EXPECT_THAT(outside.what(), HasSubstr(row.why)) << row.name;
        }
    }
}

TEST(H264Headers, SequenceSetsBeyondASmallDecoderAreOutside)
{
    const auto high = [](const std::string& chroma) {
        return With(With(Sequence(), "profile", "01100100"), "id", Ue(0) + chroma);
    };
    EXPECT_EQ(ReadSequenceSet(Payload(Sequence())).widthInMacroblocks, 1);
    EXPECT_EQ(ReadSequenceSet(Payload(With(Sequence(), "order", Ue(2)))).orderType, 2);
    EXPECT_EQ(ReadSequenceSet(Payload(high(Ue(1) + Ue(0) + Ue(0) + "00"))).widthInMacroblocks, 1);
    ExpectOutside({{"order type 1", With(Sequence(), "order", Ue(1)), "order is of type 1"},
                   {"gaps", With(Sequence(), "gaps", "1"), "gaps"},
                   {"fields", With(Sequence(), "frames only", "00"), "interlaced"},
                   {"grey", high(Ue(0) + Ue(0) + Ue(0) + "00"), "4:2:0"},
                   {"deep luma", high(Ue(1) + Ue(2) + Ue(0) + "00"), "8 bits"},
                   {"deep chroma", high(Ue(1) + Ue(0) + Ue(2) + "00"), "8 bits"},
                   {"bypass", high(Ue(1) + Ue(0) + Ue(0) + "10"), "leave out the transform"},
                   {"matrices", high(Ue(1) + Ue(0) + Ue(0) + "01"), "matrices"}},
                  ReadSequenceSet);
}

// A client's decoder takes the chroma format for told in every profile above 99, and in no other. The standard
// tells it in three below, and doesn't know some above.
TEST(H264Headers, ProfilesThatClientsReadInAnotherWayAreOutside)
{
    const std::string chroma = Ue(1) + Ue(0) + Ue(0) + "00";
    const auto read = [](uint32_t profile, const std::string& told) {
        const Fields fields = With(Sequence(), "profile", std::bitset<8>(profile).to_string());
        return ReadSequenceSet(Payload(With(fields, "id", Ue(0) + told)));
    };
    for (const uint32_t profile : {66U, 77U, 88U})
        EXPECT_EQ(read(profile, "").widthInMacroblocks, 1) << profile;
    for (const uint32_t profile : {100U, 110U, 118U, 122U, 128U, 244U})
        EXPECT_EQ(read(profile, chroma).widthInMacroblocks, 1) << profile;
    for (const uint32_t profile : {44U, 83U, 86U})
        EXPECT_THROW(read(profile, chroma), Outside) << profile;
    for (const uint32_t profile : {101U, 134U, 138U, 144U, 255U})
        for (const std::string& told : {std::string(), chroma})
            EXPECT_THROW(read(profile, told), Outside) << profile << told;
}

TEST(H264Headers, PictureSetsBeyondASmallDecoderAreOutside)
{
    const PictureSet plain = ReadPictureSet(Payload(Picture()));
    EXPECT_EQ(plain.qp, 26);
    EXPECT_EQ(plain.references, 1U);
    // From 8 by 3 up to 47, and by that down to 0: the other entries follow from these.
    std::string matrix = "1";
    for (int entry = 0; entry < 13; ++entry)
        matrix += "00110";
    matrix += "0000001011111";
    const Fields eight = With(With(Picture(), "8x8", "1"), "matrices", "100000000");
    ExpectOutside({{"bottom field", With(Picture(), "bottom field", "1"), "bottom_field_pic_order"},
                   {"groups", With(Picture(), "groups", Ue(1)), "slice groups"},
                   {"weighted P", With(Picture(), "weighted", "1"), "weighted"},
                   {"weighted B", With(Picture(), "weighted B", "01"), "weighted"},
                   {"constrained", With(Picture(), "constrained", "1"), "constrained intra"},
                   {"redundant", With(Picture(), "redundant", "1"), "redundant"},
                   {"8x8", With(Picture(), "8x8", "1"), "8x8 transform"},
                   {"matrices", With(Picture(), "matrices", "1000000"), "matrices"},
                   {"a matrix that is told", With(Picture(), "matrices", "10" + matrix + "0000"), "matrices"},
                   {"8x8 matrices", eight, "8x8 transform"},
                   {"second chroma", With(Picture(), "second chroma", Ue(1)), "chroma offsets differ"},
                   {"first chroma", With(Picture(), "chroma", Ue(1)), "chroma offsets differ"}},
                  ReadPictureSet);
}

// What is lost of a slice may take its beginning with it: the rest stands behind the unit before then.
TEST(H264Headers, APictureSetWithARestBehindItIsDamaged)
{
    for (const ptrdiff_t optional : {0, 3}) {
        Fields fields = Picture();
        fields.erase(fields.end() - optional, fields.end());
        const std::vector<uint8_t> payload = Payload(fields);
        EXPECT_NO_THROW(ReadPictureSet(payload));
        for (int byte = 0; byte < 256; ++byte) {
            std::vector<uint8_t> longer = payload;
            longer.insert(longer.end(), {static_cast<uint8_t>(byte), 0x5A, 0x13, 0xC7, 0x9E, 0x21});
            EXPECT_THROW(ReadPictureSet(longer), Damaged) << byte;
        }
        EXPECT_THROW(ReadPictureSet({payload.data(), payload.size() - 1}), Damaged);
    }
}

TEST(H264Headers, SlicesBeyondASmallDecoderAreOutside)
{
    const SequenceSet sequence = ReadSequenceSet(Payload(Sequence()));
    PictureSet picture = ReadPictureSet(Payload(Picture()));
    const auto readAs = [&](bool idr) {
        return [&, idr](const std::vector<uint8_t>& payload) {
            BitReader bits(payload);
            return ReadSliceHeader(bits, idr, sequence, picture);
        };
    };
    const Fields idr = Slice(true, 0, 0);
    const Fields p = Slice(false, 3, 6);
    EXPECT_TRUE(readAs(true)(Payload(idr)).intra);
    EXPECT_EQ(readAs(false)(Payload(p)).frameNum, 3U);
    EXPECT_EQ(readAs(false)(Payload(p)).order, 6U);
    ExpectOutside({{"long term", With(idr, "marking", "01"), "long-term"},
                   {"second slice", With(idr, "first", Ue(9)), "several slices"}},
                  readAs(true));
    ExpectOutside({{"override", With(p, "override", "1" + Ue(1)), "several references"},
                   {"reordering", With(p, "reordering", "1"), "reorders"},
                   {"marking", With(p, "marking", "1"), "marks references"},
                   {"B", With(p, "type", Ue(6)), "B pictures"},
                   {"SP", With(p, "type", Ue(3)), "switch"},
                   {"SI", With(p, "type", Ue(4)), "switch"},
                   {"I", With(p, "type", Ue(2)), "not IDR"}},
                  readAs(false));
    EXPECT_THROW(readAs(true)(Payload(With(idr, "type", Ue(5)))), Damaged);
    picture.references = 2;
    ExpectOutside({{"two by the set", p, "several references"}}, readAs(false));
    EXPECT_EQ(readAs(false)(Payload(With(p, "override", "1" + Ue(0)))).order, 6U)
        << "the slice has the last word";
}

// Encoders at hand use the low ones only.
TEST(H264Headers, NumbersAreReadUpToTheirBounds)
{
    const auto readSequence = [](const std::string& name, const std::string& bits) {
        return ReadSequenceSet(Payload(With(Sequence(), name, bits)));
    };
    EXPECT_EQ(readSequence("id", Ue(31)).id, 31U);
    EXPECT_EQ(readSequence("frame number", Ue(12)).frameNumBits, 16);
    EXPECT_EQ(readSequence("order", Ue(0) + Ue(12)).orderBits, 16);
    EXPECT_THROW(readSequence("id", Ue(32)), Damaged);
    EXPECT_THROW(readSequence("frame number", Ue(13)), Damaged);
    EXPECT_THROW(readSequence("order", Ue(0) + Ue(13)), Damaged);
    const PictureSet picture = ReadPictureSet(Payload(With(Picture(), "ids", Ue(255) + Ue(31))));
    EXPECT_EQ(picture.id, 255U);
    EXPECT_EQ(picture.sequence, 31U);
    for (const std::string& ids : {Ue(256) + Ue(0), Ue(0) + Ue(32)})
        EXPECT_THROW(ReadPictureSet(Payload(With(Picture(), "ids", ids))), Damaged);

    const SequenceSet sequence = ReadSequenceSet(Payload(Sequence()));
    const auto readSlice = [&](const std::string& name, const std::string& value) {
        const std::vector<uint8_t> payload = Payload(With(Slice(true, 0, 9), name, value));
        BitReader bits(payload);
        return ReadSliceHeader(bits, true, sequence, picture).order;
    };
    EXPECT_EQ(readSlice("idr id", Ue(65535)), 9U);
    EXPECT_EQ(readSlice("set", Ue(255)), 9U);
    EXPECT_THROW(readSlice("idr id", Ue(65536)), Damaged);
    EXPECT_THROW(readSlice("set", Ue(256)), Damaged);
}

TEST(H264Headers, TheFiltersOffsetsFollowUnlessItIsOff)
{
    const SequenceSet sequence = ReadSequenceSet(Payload(Sequence()));
    const PictureSet picture = ReadPictureSet(Payload(With(Picture(), "deblocking", "1")));
    const std::string least = Ue(12);
    const std::string most = Ue(11);
    for (const std::string& filter : {Ue(0) + least + most, Ue(1), Ue(2) + most + least}) {
        const Fields fields = With(Slice(false, 1, 2), "qp", Ue(0) + filter);
        size_t header = 0;
        for (const Field& field : fields)
            if (field.name != std::string("macroblock")) header += field.bits.size();
        const std::vector<uint8_t> payload = Payload(fields);
        BitReader bits(payload);
        ReadSliceHeader(bits, false, sequence, picture);
        EXPECT_EQ(bits.At(), header) << filter;
    }
}

void Append(std::vector<uint8_t>& unit, uint8_t header, const Fields& fields)
{
    recorder::AppendUnit(unit, header, Payload(fields));
}

constexpr uint8_t SEQUENCE = 0x67;
constexpr uint8_t PICTURE = 0x68;
constexpr uint8_t IDR = 0x65;
constexpr uint8_t SLICE = 0x61;

TEST(H264Headers, PicturesLargerThanAnyChannelsAreOutside)
{
    for (const auto& [columns, rows, size] : {std::tuple{160U, 90U, "2560x1440"}, {240U, 135U, "3840x2160"}}) {
        std::vector<uint8_t> first;
        Append(first, SEQUENCE, With(Sequence(), "size", Ue(columns - 1) + Ue(rows - 1)));
        Append(first, PICTURE, Picture());
        Append(first, IDR, Slice(true, 0, 0));
        const Checked checked = Subset(16, 16, 1000).Check(first);
        EXPECT_EQ(checked.result, Checked::EResult::Outside) << size;
        EXPECT_THAT(checked.why, HasSubstr(size));
    }
}

// A client's decoder takes 0 for a second offset that isn't there, and uses it for both planes.
TEST(H264Headers, AChromaOffsetThatIsToldOnceIsOutsideInTheHighProfile)
{
    const Fields high =
        With(With(Sequence(), "profile", "01100100"), "id", Ue(0) + Ue(1) + Ue(0) + Ue(0) + "00");
    constexpr ptrdiff_t TAIL = 3;
    const auto check = [](const Fields& sequence, const Fields& picture) {
        std::vector<uint8_t> first;
        Append(first, SEQUENCE, sequence);
        Append(first, PICTURE, picture);
        Append(first, IDR, Slice(true, 0, 0));
        return Subset(16, 16, 1000).Check(first);
    };
    for (const uint32_t offset : {0U, 1U, 24U}) {
        Fields twice = With(With(Picture(), "chroma", Ue(offset)), "second chroma", Ue(offset));
        const Fields once(twice.begin(), twice.end() - TAIL);
        EXPECT_EQ(check(Sequence(), once).result, Checked::EResult::Passes) << offset;
        EXPECT_EQ(check(high, twice).result, Checked::EResult::Passes) << offset;
        const Checked checked = check(high, once);
        EXPECT_EQ(checked.result, offset == 0 ? Checked::EResult::Passes : Checked::EResult::Outside) << offset;
        EXPECT_EQ(checked.why, offset == 0 ? "" : "its second chroma offset is not told") << offset;
    }
}

constexpr const char* ANOTHER_ORDER = "it shows pictures in another order";
constexpr const char* SETS_CHANGE = "its parameter sets change between IDR pictures";

class H264Order : public testing::Test
{
  protected:
    H264Order() { Begin(); }
    // With an IDR picture.
    void Begin()
    {
        std::vector<uint8_t> first;
        Append(first, SEQUENCE, Sequence());
        Append(first, PICTURE, Picture());
        Append(first, IDR, Slice(true, 0, 0));
        const Checked checked = m_Subset.Check(first);
        EXPECT_EQ(checked.result, Checked::EResult::Passes) << checked.why;
    }
    Checked Next(uint32_t number, uint32_t order)
    {
        std::vector<uint8_t> unit;
        Append(unit, SLICE, Slice(false, number, order));
        return m_Subset.Check(unit);
    }
    // One by one, from the first behind an IDR picture on.
    void Pass(uint32_t count)
    {
        for (uint32_t i = 1; i <= count; ++i)
            EXPECT_EQ(Next(i % 16, 2 * i % 64).result, Checked::EResult::Passes) << i;
    }
    // The first behind an IDR picture, with a set of its own.
    Checked NextByAnotherSet()
    {
        std::vector<uint8_t> unit;
        Append(unit, PICTURE, With(Picture(), "deblocking", "1"));
        Append(unit, SLICE, With(Slice(false, 1, 2), "qp", Ue(0) + Ue(1)));
        return m_Subset.Check(unit);
    }
    static void Expect(const Checked& checked, Checked::EResult result, const char* why)
    {
        EXPECT_EQ(checked.result, result);
        EXPECT_EQ(checked.why, why);
    }

    Subset m_Subset{16, 16, 1000};
};

TEST_F(H264Order, PicturesThatAreShownAsTheyComePassThroughBothCounters)
{
    Pass(100);
}

TEST_F(H264Order, PicturesThatAreShownInAnotherOrderAgainAreOutside)
{
    EXPECT_EQ(Next(1, 7).result, Checked::EResult::Passes);
    const Subset before = m_Subset;
    for (const uint32_t order : {7U, 6U, 39U}) {
        m_Subset = before;
        Expect(Next(2, order), Checked::EResult::Damaged, ANOTHER_ORDER);
        Expect(Next(3, order + 2), Checked::EResult::Damaged, NO_IDR);
        Begin();
        EXPECT_EQ(Next(1, 7).result, Checked::EResult::Passes);
        Expect(Next(2, order), Checked::EResult::Outside, ANOTHER_ORDER);
    }
    m_Subset = before;
    EXPECT_EQ(Next(2, 38).result, Checked::EResult::Passes);
}

TEST_F(H264Order, ParameterSetsThatChangeBetweenIdrPicturesAgainAreOutside)
{
    Expect(NextByAnotherSet(), Checked::EResult::Damaged, SETS_CHANGE);
    Begin();
    Expect(NextByAnotherSet(), Checked::EResult::Outside, SETS_CHANGE);
}

// As many as the numbers go round with: the order alone tells that something is wrong.
TEST_F(H264Order, PicturesThatAreMissingWithoutAGapInTheNumbersAreDamage)
{
    for (int group = 0; group < 3; ++group) {
        Pass(3);
        Expect(Next(20 % 16, 40), Checked::EResult::Damaged, ANOTHER_ORDER);
        Expect(Next(21 % 16, 42), Checked::EResult::Damaged, NO_IDR);
        Begin();
        Pass(21);
        Begin();
    }
}

// A group has to be seen to its end, and whole, to speak for a stream.
TEST_F(H264Order, GroupsWithDamageBetweenPicturesInAnotherOrderDoNotCount)
{
    const auto restart = [this] {
        m_Subset.Restart();
        Expect(Next(4, 8), Checked::EResult::Early, NO_IDR);
    };
    const auto lose = [this] { Expect(Next(5, 10), Checked::EResult::Damaged, "a picture is missing"); };
    for (const std::function<void()>& disturb : {std::function<void()>(restart), {lose}}) {
        Pass(3);
        Begin();
        Pass(3);
        Expect(Next(4, 4), Checked::EResult::Damaged, ANOTHER_ORDER);
        Begin();
        Pass(3);
        disturb();
        Begin();
        Expect(NextByAnotherSet(), Checked::EResult::Outside, SETS_CHANGE);
        Begin();
    }
}

// The number may well be the next one by chance.
TEST_F(H264Order, PicturesThatNobodyLookedAtAreInNoOrder)
{
    EXPECT_EQ(Next(1, 7).result, Checked::EResult::Passes);
    m_Subset.Restart();
    EXPECT_EQ(Next(2, 6).result, Checked::EResult::Early);
}

TEST_F(H264Order, MissingPictureIsDamage)
{
    EXPECT_EQ(Next(1, 2).result, Checked::EResult::Passes);
    const Checked checked = Next(3, 6);
    EXPECT_EQ(checked.result, Checked::EResult::Damaged);
    EXPECT_THAT(checked.why, HasSubstr("missing"));
}

}  // namespace
