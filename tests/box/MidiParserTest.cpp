#include "box/midi_msg_parser.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include <random>
#include <vector>

namespace {
using Bytes = std::vector<std::uint8_t>;

struct Parsed {
    Bytes bytes;
    bool isLong;
    bool operator==(const Parsed&) const = default;
};

class MidiParser : public ::testing::Test {
protected:
    // Feeds `stream` to a new parser, cut at the given sizes (the rest in one piece), and
    // returns what came out.
    std::vector<Parsed> parse(const Bytes& stream, const std::vector<int>& cuts = {})
    {
        midi_msg_parser_t parser(mPool);
        std::vector<boost::shared_ptr<midi_msg_t>> out;
        int at = 0;
        for (int cut : cuts) {
            EXPECT_EQ(parser.feed(stream.data() + at, cut, out), 0);
            at += cut;
        }
        parser.feed(stream.data() + at, static_cast<int>(stream.size()) - at, out);
        std::vector<Parsed> result;
        for (const auto& m : out)
            result.push_back({Bytes(m->data(), m->data() + m->size()), m->is_long()});
        return result;
    }

    boost::shared_ptr<midi_msg_pool_t> mPool = boost::make_shared<midi_msg_pool_t>(4096, 256);
};

void PrintTo(const Parsed& p, std::ostream* os)
{
    *os << (p.isLong ? "long" : "short");
    for (std::uint8_t b : p.bytes)
        *os << ' ' << std::hex << int(b);
}

Parsed shortMsg(Bytes b) { return {std::move(b), false}; }
Parsed longMsg(Bytes b) { return {std::move(b), true}; }
} // namespace

TEST_F(MidiParser, SysexCutIntoAnyPiecesIsOneMessage)
{
    const Bytes sysex = {0xF0, 0x41, 0xF7};
    const std::vector<Parsed> whole = {longMsg(sysex)};
    for (const std::vector<int>& cuts : std::vector<std::vector<int>>{{}, {1}, {2}, {1, 1}, {0, 1, 0, 1, 0}})
        EXPECT_EQ(parse(sysex, cuts), whole);
}

TEST_F(MidiParser, RealTimeBytesComeOutAtOnceAndLeaveTheMessageWhole)
{
    EXPECT_EQ(parse({0xF0, 0x41, 0xF8, 0x42, 0xF7}),
              (std::vector<Parsed>{shortMsg({0xF8}), longMsg({0xF0, 0x41, 0x42, 0xF7})}));
    EXPECT_EQ(parse({0x90, 0xFE, 0x3C, 0xFA, 0x40}),
              (std::vector<Parsed>{shortMsg({0xFE}), shortMsg({0xFA}), shortMsg({0x90, 0x3C, 0x40})}));
    EXPECT_EQ(parse({0xFD, 0xF9, 0xFF}), (std::vector<Parsed>{shortMsg({0xF9}), shortMsg({0xFF})}));
}

TEST_F(MidiParser, LongSysexComesOutInFragmentsOfTheBufferSize)
{
    Bytes stream = {0xF0};
    for (int i = 0; i < 256; ++i)
        stream.push_back(static_cast<std::uint8_t>(i & 0x7F));
    stream.push_back(0xF7);
    EXPECT_EQ(parse(stream, {100, 57}),
              (std::vector<Parsed>{longMsg(Bytes(stream.begin(), stream.begin() + 256)), longMsg({0x7F, 0xF7})}));
}

TEST_F(MidiParser, RunningStatusRepeatsTheLastStatus)
{
    EXPECT_EQ(parse({0x90, 0x3C, 0x40, 0x3E, 0x41}),
              (std::vector<Parsed>{shortMsg({0x90, 0x3C, 0x40}), shortMsg({0x90, 0x3E, 0x41})}));
    EXPECT_EQ(parse({0xC0, 0x05, 0x06}), (std::vector<Parsed>{shortMsg({0xC0, 0x05}), shortMsg({0xC0, 0x06})}));
    // A real-time byte doesn't end the running status.
    EXPECT_EQ(parse({0xB1, 7, 100, 0xF8, 7, 90}),
              (std::vector<Parsed>{shortMsg({0xB1, 7, 100}), shortMsg({0xF8}), shortMsg({0xB1, 7, 90})}));
    // Data behind a finished System Exclusive message begin another.
    EXPECT_EQ(parse({0xF0, 1, 0xF7, 2, 3, 0xF7}),
              (std::vector<Parsed>{longMsg({0xF0, 1, 0xF7}), longMsg({0xF0, 2, 3, 0xF7})}));
}

TEST_F(MidiParser, IncompleteAndStraySyntaxIsDropped)
{
    // A status in the middle of a three-byte message drops that message.
    EXPECT_EQ(parse({0x90, 0x3C, 0x80, 0x3C, 0x00}), (std::vector<Parsed>{shortMsg({0x80, 0x3C, 0x00})}));
    // Data before any status, undefined statuses and their data, a lone end byte.
    EXPECT_EQ(parse({0x01, 0x02, 0xF4, 0x05, 0xF5, 0xF7, 0x06}), std::vector<Parsed>{});
    // A System Exclusive message closed by a status ends in 0xF7 and takes that status.
    EXPECT_EQ(parse({0xF0, 0x10, 0x90, 0x3C, 0x40}), (std::vector<Parsed>{longMsg({0xF0, 0x10, 0xF7})}));
    // Tune request stands alone, and its status runs no further.
    EXPECT_EQ(parse({0xF6, 0x11}), (std::vector<Parsed>{shortMsg({0xF6})}));
}

TEST_F(MidiParser, SystemCommonDataNeverRunPastTheBuffer)
{
    // A tiny pool makes a buffer of 8 bytes; many data bytes behind a system common
    // message must neither grow a message nor write beyond it.
    auto pool = boost::make_shared<midi_msg_pool_t>(64, 8);
    midi_msg_parser_t parser(pool);
    std::vector<boost::shared_ptr<midi_msg_t>> out;
    Bytes stream = {0xF2, 1, 2, 3, 4, 5, 6, 0xF1, 7, 8, 9, 0xF3, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    parser.feed(stream.data(), static_cast<int>(stream.size()), out);
    ASSERT_FALSE(out.empty());
    for (const auto& m : out) {
        EXPECT_LE(m->size(), 3);
        EXPECT_EQ(m->size(), midi_msg_t::short_size(m->data()[0]));
    }
    // The running status keeps the system common status: F2 1 2, F2 3 4, F2 5 6, F1 7, F1 8, ...
    EXPECT_EQ(out.size(), 3u + 3u + 10u);
}

TEST_F(MidiParser, AnEmptyPoolLosesOnlyTheMessagesItHasNoRoomFor)
{
    auto pool = boost::make_shared<midi_msg_pool_t>(2, 16);
    midi_msg_parser_t parser(pool);
    std::vector<boost::shared_ptr<midi_msg_t>> out;
    const Bytes three = {0xF8, 0xF8, 0xF8};
    parser.feed(three.data(), 3, out);
    EXPECT_EQ(out.size(), 2u);
    out.clear();
    parser.feed(three.data(), 1, out);
    EXPECT_EQ(out.size(), 1u) << "messages let go are there again";
}

TEST_F(MidiParser, AnySplitOfAStreamGivesTheSameMessagesWithoutAllocating)
{
    std::mt19937 random(1234);
    Bytes stream;
    const Bytes pieces[] = {{0x90, 60, 100}, {62, 90}, {0xF0, 1, 2, 3, 0xF7}, {0xF8}, {0xC3, 5}, {0xE0, 1, 2}, {0x33}};
    for (int i = 0; i < 400; ++i) {
        const Bytes& piece = pieces[random() % std::size(pieces)];
        stream.insert(stream.end(), piece.begin(), piece.end());
    }
    const auto whole = parse(stream);
    ASSERT_GT(whole.size(), 100u);

    for (int trial = 0; trial < 20; ++trial) {
        std::vector<int> cuts;
        for (std::size_t at = 0; at < stream.size();) {
            const int n = static_cast<int>(std::min<std::size_t>(random() % 7, stream.size() - at));
            cuts.push_back(n);
            at += static_cast<std::size_t>(n);
        }
        EXPECT_EQ(parse(stream, cuts), whole) << "trial " << trial;
    }

    // With room in `out`, feeding allocates nothing.
    midi_msg_parser_t parser(mPool);
    std::vector<boost::shared_ptr<midi_msg_t>> out;
    out.reserve(64);
    AllocationCounter counter;
    for (std::size_t at = 0; at < stream.size(); at += 5) {
        parser.feed(stream.data() + at, static_cast<int>(std::min<std::size_t>(5, stream.size() - at)), out);
        if (out.size() > 32)
            out.clear();
    }
    EXPECT_EQ(counter.count(), 0u);
}
