#include "recorder/h264/Subset.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>

#include "recorder/h264/AnnexB.h"
#include "recorder/media/CodecStream.h"
#include "tests/recorder/media_support.h"
#include "tests/support/test_places.h"

namespace
{

using namespace recorder;
using h264::Checked;
using h264::Subset;
using testing::HasSubstr;

Checked::EResult Result(const Checked& checked)
{
    return checked.result;
}

// One picture is one slice here.
AccessUnits Split(const std::vector<uint8_t>& bytes)
{
    AccessUnits stream(1);
    for (const auto unit : SplitUnits(bytes)) {
        auto& to = stream.back();
        to.insert(to.end(), {0, 0, 0, 1});
        to.insert(to.end(), unit.begin(), unit.end());
        if (UnitType(unit) == EUnit::Slice || UnitType(unit) == EUnit::IdrSlice) stream.emplace_back();
    }
    stream.pop_back();
    return stream;
}

std::vector<uint8_t> ReadWhole(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

constexpr int WIDTH = H264_TEST_WIDTH;
constexpr int HEIGHT = H264_TEST_HEIGHT;

// The first that doesn't pass, or the last.
Checked CheckAll(const AccessUnits& stream, int width = WIDTH, int height = HEIGHT)
{
    Subset subset(width, height, MAX_H264_BYTES);
    Checked checked;
    for (const auto& unit : stream) {
        checked = subset.Check(unit);
        if (checked.result != Checked::EResult::Passes) return checked;
    }
    return checked;
}

class StreamsInside : public testing::TestWithParam<std::string>
{
};

// Every macroblock is read to the last bit, or the slice would not end where it does.
TEST_P(StreamsInside, AreReadToTheirLastBit)
{
    const auto bytes = ReadWhole(SourcePath("tests/data/h264/" + GetParam() + ".h264"));
    ASSERT_FALSE(bytes.empty());
    const AccessUnits stream = Split(bytes);
    const auto units = SplitUnits(bytes);
    const auto set = std::find_if(units.begin(), units.end(),
                                  [](const auto unit) { return UnitType(unit) == EUnit::SequenceSet; });
    const auto sequence = h264::ReadSequenceSet(Unescape(*set));
    const Checked last = CheckAll(stream, 16 * sequence.widthInMacroblocks, 16 * sequence.heightInMacroblocks);
    EXPECT_EQ(Result(last), Checked::EResult::Passes) << last.why;
}

std::vector<std::string> NamesOfStreams()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(SourcePath("tests/data/h264")))
        if (entry.path().extension() == ".h264") names.push_back(entry.path().stem());
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(OfTheTestData, StreamsInside, testing::ValuesIn(NamesOfStreams()),
                         [](const auto& row) { return row.param; });

TEST(H264Subset, PassesTheSlicesAndPutsParameterSetsBeforeEachIdr)
{
    // The encoder's own remark (SEI) goes, and the sets that it sends once only come again.
    const AccessUnits stream = EncodeH264("repeat-headers=0:annexb=1");
    Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
    for (size_t i = 0; i < stream.size(); ++i) {
        const Checked checked = subset.Check(stream[i]);
        ASSERT_EQ(Result(checked), Checked::EResult::Passes) << i << ' ' << checked.why;
        EXPECT_EQ(checked.key, i % 5 == 0) << i;
        std::vector<EUnit> types;
        for (const auto unit : SplitUnits(checked.bytes))
            types.push_back(UnitType(unit));
        if (checked.key)
            EXPECT_EQ(types, (std::vector{EUnit::SequenceSet, EUnit::PictureSet, EUnit::IdrSlice})) << i;
        else
            EXPECT_EQ(types, std::vector{EUnit::Slice}) << i;
        EXPECT_EQ(SplitUnits(checked.bytes).back().size(), SplitUnits(stream[i]).back().size());
    }
}

struct Row {
    const char* name;
    const char* options;
    const char* why;
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    EShows shows = EShows::Scene;
};

class StreamsOutside : public testing::TestWithParam<Row>
{
};

TEST_P(StreamsOutside, AreReportedWithTheReason)
{
    const int pictures = GetParam().shows == EShows::Scene ? 30 : 7;
    const Checked checked =
        CheckAll(EncodeH264(GetParam().options, pictures, GetParam().format, GetParam().shows));
    EXPECT_EQ(Result(checked), Checked::EResult::Outside);
    EXPECT_THAT(checked.why, HasSubstr(GetParam().why));
    EXPECT_TRUE(checked.bytes.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StreamsOutside,
    testing::Values(
        Row{"b", "bframes=2:b-adapt=0:weightb=0", "B pictures"},
        Row{"pyramid", "bframes=3:b-adapt=0:b-pyramid=2:weightb=0", "B pictures"},
        Row{"transform8x8", "8x8dct=1", "8x8 transform"}, Row{"references", "ref=3", "several references"},
        Row{"weighted", "weightp=2", "weighted"}, Row{"slices", "slices=2", "several slices"},
        Row{"interlaced", "tff=1", "interlaced"},
        Row{"constrained", "constrained-intra=1", "constrained intra"}, Row{"matrices", "cqm=jvt", "matrices"},
        Row{"chroma_offsets", "chroma-qp-offset=3:8x8dct=1", "8x8 transform"},
        Row{"chroma422", "keyint=5", "4:2:0", AV_PIX_FMT_YUV422P},
        Row{"chroma444", "keyint=5", "4:2:0", AV_PIX_FMT_YUV444P}, Row{"lossless", "qp=0", "transform"},
        Row{"pcm_cavlc", "cabac=0:qp=1:psy=0:subme=7", "I_PCM", AV_PIX_FMT_YUV420P, EShows::Noise},
        Row{"pcm_cabac", "cabac=1:qp=1:psy=0:subme=7", "I_PCM", AV_PIX_FMT_YUV420P, EShows::Noise},
        Row{"pcm_beside_cavlc", "cabac=0:crf=1:psy=0:subme=7", "I_PCM", AV_PIX_FMT_YUV420P, EShows::Specks},
        Row{"pcm_beside_cabac", "cabac=1:crf=1:psy=0:subme=7", "I_PCM", AV_PIX_FMT_YUV420P, EShows::Specks},
        Row{"pcm_later_cavlc", "cabac=0:crf=1:psy=0:subme=7", "I_PCM", AV_PIX_FMT_YUV420P, EShows::LaterSpecks},
        Row{"pcm_later_cabac", "cabac=1:crf=1:psy=0:subme=7", "I_PCM", AV_PIX_FMT_YUV420P,
            EShows::LaterSpecks}),
    [](const auto& row) { return row.param.name; });

TEST(H264Subset, AnotherSizeIsOutside)
{
    const Checked checked = CheckAll(EncodeH264("keyint=5"), 704, 576);
    EXPECT_EQ(Result(checked), Checked::EResult::Outside);
    EXPECT_THAT(checked.why, HasSubstr("176x144"));
    for (const auto& [width, height] : {std::pair{WIDTH, HEIGHT + 16}, {WIDTH + 16, HEIGHT}})
        EXPECT_EQ(Result(CheckAll(EncodeH264("keyint=5"), width, height)), Checked::EResult::Outside);
}

TEST(H264Subset, ALargePictureIsOutside)
{
    const AccessUnits stream = EncodeH264("qp=20");
    Subset subset(WIDTH, HEIGHT, stream[0].size() / 2);
    EXPECT_EQ(Result(subset.Check(stream[0])), Checked::EResult::Outside);
}

TEST(H264Subset, AMissingPictureCostsThoseUpToTheNextIdr)
{
    const AccessUnits stream = EncodeH264("keyint=5");
    Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
    std::string passed;
    for (size_t i = 1; i < stream.size(); ++i)
        if (i != 7) passed += Result(subset.Check(stream[i])) == Checked::EResult::Passes ? '+' : '-';
    EXPECT_EQ(passed, "----++--++");
}

// Whoever begins to look does so between two IDR pictures, and nothing is wrong with these.
TEST(H264Subset, PicturesBeforeTheFirstIdrAreEarlyAndNotDamaged)
{
    const AccessUnits stream = EncodeH264("keyint=5:annexb=1", 20);
    Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
    std::string results;
    const auto check = [&](size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
            const Checked checked = subset.Check(stream[i]);
            results += "+edo"[static_cast<int>(checked.result)];
            EXPECT_EQ(checked.why, results.back() == '+' ? "" : "no IDR picture came yet") << i;
        }
    };
    check(2, 8);
    EXPECT_EQ(results, "eee+++") << "their parameter sets are not known either";
    subset.Restart();
    check(12, 16);
    EXPECT_EQ(results, "eee+++eee+");
    EXPECT_EQ(Result(subset.Check({})), Checked::EResult::Damaged);
    check(17, 19);
    EXPECT_EQ(results, "eee+++eee+dd");
}

// As a camera of a constant bit rate gives them.
TEST(H264Subset, DelimitersAndFillerStayBehind)
{
    constexpr auto DELIMITER = static_cast<EUnit>(9);
    constexpr auto FILLER = static_cast<EUnit>(12);
    const AccessUnits stream = EncodeH264("aud=1:bitrate=1000:vbv-maxrate=1000:vbv-bufsize=100:nal-hrd=cbr");
    Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
    std::set<EUnit> given;
    std::set<EUnit> passed;
    for (const auto& accessUnit : stream) {
        const Checked checked = subset.Check(accessUnit);
        EXPECT_EQ(Result(checked), Checked::EResult::Passes) << checked.why;
        for (const auto unit : SplitUnits(accessUnit))
            given.insert(UnitType(unit));
        for (const auto unit : SplitUnits(checked.bytes))
            passed.insert(UnitType(unit));
    }
    EXPECT_THAT(given, testing::IsSupersetOf({DELIMITER, FILLER, EUnit::Sei}));
    EXPECT_THAT(passed,
                testing::ElementsAre(EUnit::Slice, EUnit::IdrSlice, EUnit::SequenceSet, EUnit::PictureSet));
}

// As partitions of slices and the layers of scalable streams are; what only says something about a picture
// isn't.
TEST(H264Subset, UnitsOfOtherKindsAreOutside)
{
    const AccessUnits stream = EncodeH264("annexb=1", 2);
    for (int type = 0; type < 32; ++type) {
        if (type == 1 || type == 5 || type == 7 || type == 8) continue;
        std::vector<uint8_t> accessUnit;
        AppendUnit(accessUnit, static_cast<uint8_t>(0x60 | type), std::vector<uint8_t>{0x80});
        accessUnit.insert(accessUnit.end(), stream[1].begin(), stream[1].end());
        const Checked checked = CheckAll({stream[0], accessUnit});
        const bool beside = type == 6 || (type >= 9 && type <= 12);
        EXPECT_EQ(Result(checked), beside ? Checked::EResult::Passes : Checked::EResult::Outside) << type;
        EXPECT_EQ(checked.why, beside ? "" : "it has units of other kinds") << type;
    }
}

TEST(H264Subset, ParameterSetsAreTheOnesThatAPictureNames)
{
    // Sets that nobody uses come between; a slice would not be read by them.
    const AccessUnits stream = EncodeH264("keyint=5:annexb=1:sps-id=3");
    const AccessUnits other = EncodeH264("keyint=5:annexb=1:sps-id=2:qp=40:cabac=0", 1);
    std::vector<uint8_t> others;
    for (const auto unit : SplitUnits(other[0]))
        if (UnitType(unit) != EUnit::IdrSlice) AppendUnit(others, unit[0], Unescape(unit));
    Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
    Subset alone(WIDTH, HEIGHT, MAX_H264_BYTES);
    for (const auto& accessUnit : stream) {
        EXPECT_EQ(Result(subset.Check(others)), Checked::EResult::Nothing);
        const Checked checked = subset.Check(accessUnit);
        EXPECT_EQ(Result(checked), Checked::EResult::Passes) << checked.why;
        EXPECT_EQ(checked.bytes, alone.Check(accessUnit).bytes);
    }
}

TEST(H264Subset, AUnitWithTheForbiddenBitIsDamage)
{
    AccessUnits stream = EncodeH264("keyint=5:annexb=1");
    auto& bytes = stream[1];
    bytes[static_cast<size_t>(SplitUnits(bytes).back().data() - bytes.data())] |= 0x80;
    EXPECT_EQ(Result(CheckAll(stream)), Checked::EResult::Damaged);
}

TEST(H264Subset, SlicesOnTheirOwnSayWhatTheyLack)
{
    Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
    const Checked nothing = subset.Check({});
    EXPECT_EQ(Result(nothing), Checked::EResult::Damaged);
    const AccessUnits stream = EncodeH264("keyint=5");
    const auto slice = SplitUnits(stream[0]).back();
    std::vector<uint8_t> alone{0, 0, 0, 1};
    alone.insert(alone.end(), slice.begin(), slice.end());
    const Checked checked = subset.Check(alone);
    EXPECT_EQ(Result(checked), Checked::EResult::Damaged);
    EXPECT_THAT(checked.why, HasSubstr("parameter set is missing"));
}

TEST(H264Subset, ParameterSetsMayComeOnTheirOwn)
{
    const AccessUnits stream = EncodeH264("annexb=1", 12);
    Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
    Subset whole(WIDTH, HEIGHT, MAX_H264_BYTES);
    for (const auto& accessUnit : stream) {
        const auto slice = SplitUnits(accessUnit).back();
        constexpr ptrdiff_t START_CODE = 3;
        const auto at = slice.begin() - START_CODE;
        if (const std::vector<uint8_t> sets(accessUnit.data(), &*at); sets.size() > 1) {
            EXPECT_EQ(Result(subset.Check(sets)), Checked::EResult::Nothing);
        }
        const Checked checked = subset.Check({at, slice.end()});
        EXPECT_EQ(Result(checked), Checked::EResult::Passes) << checked.why;
        EXPECT_EQ(checked.bytes, whole.Check(accessUnit).bytes);
    }
}

// What stands behind lost bytes may read like anything, and what is cut like the first of several slices.
class Loss : public testing::TestWithParam<const char*>
{
};

TEST_P(Loss, IsNeverTakenForSomethingOutside)
{
    const AccessUnits stream = EncodeH264(GetParam(), 10);
    std::mt19937 random(1);
    std::set<std::string> outside;
    for (int round = 0; round < 100; ++round) {
        Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
        for (const auto& whole : stream) {
            constexpr size_t HEADERS = 60;
            ASSERT_GT(whole.size(), HEADERS);
            auto cut = whole;
            const auto from = cut.begin() + static_cast<ptrdiff_t>(HEADERS + random() % (cut.size() - HEADERS));
            const bool tail = random() % 2 == 0;
            cut.erase(from, tail ? cut.end() : from + static_cast<ptrdiff_t>(random() % (cut.end() - from)));
            Subset before = subset;
            const Checked checked = before.Check(cut);
            if (checked.result == Checked::EResult::Outside) outside.insert(checked.why);
            subset.Check(whole);
        }
    }
    EXPECT_THAT(outside, testing::IsEmpty());
}

// As where the first of a slice's fragments is lost: the others stand behind the parameter sets.
TEST_P(Loss, OfTheBeginningIsNeverTakenForAParameterSet)
{
    const AccessUnits stream = EncodeH264(GetParam(), 10);
    const auto units = SplitUnits(stream[5]);
    const auto& set = units[units.size() - 2];
    const auto& slice = units.back();
    ASSERT_EQ(UnitType(set), EUnit::PictureSet);
    ASSERT_EQ(UnitType(slice), EUnit::IdrSlice);
    for (const size_t ofSet : {0U, 1U})
        for (size_t lost = 1; lost < slice.size(); ++lost) {
            std::vector<uint8_t> cut(stream[5].data(), set.data() + set.size() - ofSet);
            cut.insert(cut.end(), slice.begin() + static_cast<ptrdiff_t>(lost), slice.end());
            Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
            const Checked checked = subset.Check(cut);
            ASSERT_EQ(Result(checked), Checked::EResult::Damaged) << lost << ' ' << checked.why;
        }
}

// As where the picture's set is lost with it, too: the sequence's looks like another one then, and none of the
// next pictures is to be taken for one that changes it.
TEST_P(Loss, BehindASequenceSetCostsThePicturesUpToTheNextIdr)
{
    const AccessUnits stream = EncodeH264(GetParam(), 11);
    const auto units = SplitUnits(stream[5]);
    const auto& set = units[units.size() - 3];
    const auto& slice = units.back();
    ASSERT_EQ(UnitType(set), EUnit::SequenceSet);
    ASSERT_EQ(UnitType(slice), EUnit::IdrSlice);
    std::vector<uint8_t> cut(stream[5].data(), set.data() + set.size());
    cut.insert(cut.end(), slice.begin() + static_cast<ptrdiff_t>(slice.size() / 2), slice.end());
    Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
    std::string results;
    for (size_t i = 0; i < stream.size(); ++i) {
        const Checked checked = subset.Check(i == 5 ? cut : stream[i]);
        results += "+edon"[static_cast<int>(checked.result)];
    }
    EXPECT_EQ(results, "+++++ndddd+");
}

INSTANTIATE_TEST_SUITE_P(Codings, Loss, testing::Values("cabac=1:annexb=1:qp=14", "cabac=0:annexb=1:qp=14"));

// A picture that nothing refers to would break the chain of references that clients keep.
TEST(H264Subset, APictureThatNothingRefersToIsOutside)
{
    AccessUnits stream = EncodeH264("keyint=5:annexb=1");
    auto& bytes = stream[1];
    const auto slice = SplitUnits(bytes).back();
    bytes[static_cast<size_t>(slice.data() - bytes.data())] &= 0x9F;
    const Checked checked = CheckAll(stream);
    EXPECT_EQ(Result(checked), Checked::EResult::Outside);
    EXPECT_THAT(checked.why, HasSubstr("refers"));
}

TEST(H264Subset, AnIPictureThatIsNotIdrIsOutside)
{
    AccessUnits stream = EncodeH264("keyint=5:annexb=1");
    auto& bytes = stream[5];
    const auto slice = SplitUnits(bytes).back();
    ASSERT_EQ(UnitType(slice), EUnit::IdrSlice);
    bytes[static_cast<size_t>(slice.data() - bytes.data())] ^= 4;  // now of type 1
    const Checked checked = CheckAll(stream);
    EXPECT_EQ(Result(checked), Checked::EResult::Outside);
    EXPECT_THAT(checked.why, HasSubstr("not IDR"));
}

std::string Ue(uint64_t value)
{
    const auto bits = static_cast<size_t>(std::bit_width(value + 1));
    std::string text(bits - 1, '0');
    for (size_t i = bits; i-- > 0;)
        text += ((value + 1) >> i & 1) != 0 ? '1' : '0';
    return text;
}

std::string Se(int64_t value)
{
    return Ue(value > 0 ? static_cast<uint64_t>(2 * value - 1) : static_cast<uint64_t>(-2 * value));
}

// With a stop bit after the last.
std::vector<uint8_t> Packed(std::string bits)
{
    bits += '1';
    bits.resize((bits.size() + 7) / 8 * 8, '0');
    std::vector<uint8_t> bytes(bits.size() / 8);
    for (size_t i = 0; i < bits.size(); ++i)
        bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] << 1 | (bits[i] - '0'));
    return bytes;
}

// The widest numbers that a code has are among them.
TEST(H264Subset, AQuantiserOutOfRangeIsDamage)
{
    const auto read = [](int64_t qp) {
        const std::string front = Ue(0) + Ue(0) + "00" + Ue(0) + Ue(0) + Ue(0) + "000";
        return h264::ReadPictureSet(Packed(front + Se(qp) + Se(0) + Se(0) + "100")).qp;
    };
    EXPECT_EQ(read(-26), 0);
    EXPECT_EQ(read(25), 51);
    for (const int64_t qp : {-27, 26, 2147483647, -2147483647})
        EXPECT_THROW(read(qp), h264::Damaged) << qp;
}

class Damage : public testing::TestWithParam<const char*>
{
};

// Never more than a verdict, and what passes is what was given.
TEST_P(Damage, EndsInAVerdict)
{
    const AccessUnits whole = EncodeH264(GetParam(), 6);
    std::mt19937 random(3);
    std::map<Checked::EResult, int> results;
    for (int round = 0; round < 1000; ++round) {
        Subset subset(WIDTH, HEIGHT, MAX_H264_BYTES);
        for (size_t i = 0; i < whole.size(); ++i) {
            auto unit = whole[i];
            if (random() % 3 == 0) unit.resize(random() % (unit.size() + 1));
            for (size_t flips = random() % 4; flips > 0 && !unit.empty(); --flips)
                unit[random() % unit.size()] ^= static_cast<uint8_t>(1U << random() % 8);
            const Checked checked = subset.Check(unit);
            ++results[checked.result];
            ASSERT_EQ(checked.bytes.empty(), checked.result != Checked::EResult::Passes);
            ASSERT_EQ(checked.why.empty(), checked.result == Checked::EResult::Passes);
        }
    }
    for (const auto result : {Checked::EResult::Passes, Checked::EResult::Damaged, Checked::EResult::Outside})
        EXPECT_GT(results[result], 0) << static_cast<int>(result);
}

INSTANTIATE_TEST_SUITE_P(Codings, Damage, testing::Values("cabac=1:annexb=1", "cabac=0:annexb=1"));

}  // namespace
