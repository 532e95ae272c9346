#include "box/midi_msg.h"
#include "box/midi_msg_pool.h"
#include "box/midi_result.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

namespace {
std::vector<std::uint8_t> bytesOf(const midi_msg_t& m) { return {m.data(), m.data() + m.size()}; }

using Bytes = std::vector<std::uint8_t>;
} // namespace

TEST(MidiMessage, BuildersWriteStatusChannelAndMaskedDataBytes)
{
    struct Case {
        std::function<void(midi_msg_t&)> build;
        Bytes expected;
    };
    const Case cases[] = {
        {[](midi_msg_t& m) { m.note_off(3, 60, 0x1FF); }, {0x83, 60, 0x7F}},
        {[](midi_msg_t& m) { m.note_on(15, 0x80 | 64, 100); }, {0x9F, 64, 100}},
        {[](midi_msg_t& m) { m.poly_pressure(1, 2, 3); }, {0xA1, 2, 3}},
        {[](midi_msg_t& m) { m.control_change(0, 7, 127); }, {0xB0, 7, 127}},
        {[](midi_msg_t& m) { m.program_change(9, 130); }, {0xC9, 2}},
        {[](midi_msg_t& m) { m.channel_pressure(2, 44); }, {0xD2, 44}},
        {[](midi_msg_t& m) { m.pitch_bend(4, 0, 0x40); }, {0xE4, 0, 0x40}},
        {[](midi_msg_t& m) { m.time_code(0x71); }, {0xF1, 0x71}},
        {[](midi_msg_t& m) { m.song_position(5, 6); }, {0xF2, 5, 6}},
        {[](midi_msg_t& m) { m.song_select(12); }, {0xF3, 12}},
        {[](midi_msg_t& m) { m.tune_request(); }, {0xF6}},
        {[](midi_msg_t& m) { m.clock(); }, {0xF8}},
        {[](midi_msg_t& m) { m.tick(); }, {0xF9}},
        {[](midi_msg_t& m) { m.start(); }, {0xFA}},
        {[](midi_msg_t& m) { m.resume(); }, {0xFB}},
        {[](midi_msg_t& m) { m.stop(); }, {0xFC}},
        {[](midi_msg_t& m) { m.active_sensing(); }, {0xFE}},
        {[](midi_msg_t& m) { m.reset(); }, {0xFF}},
    };
    midi_msg_t m(16);
    const std::uint8_t sysex[] = {0xF0, 1, 0xF7};
    for (const Case& c : cases) {
        ASSERT_EQ(m.set_sysex(sysex, 3), midi_ok);
        c.build(m);
        EXPECT_EQ(bytesOf(m), c.expected);
        EXPECT_FALSE(m.is_long());
    }
}

TEST(MidiMessage, SetShortTakesItsSizeFromTheStatusAndRefusesBadBytes)
{
    midi_msg_t m(8);
    EXPECT_EQ(m.set_short(0x92, 1, 2), midi_ok);
    EXPECT_EQ(bytesOf(m), (Bytes{0x92, 1, 2}));
    EXPECT_EQ(m.set_short(0xC0, 5, 0x99), midi_ok) << "the byte beyond the size is no data byte";
    EXPECT_EQ(bytesOf(m), (Bytes{0xC0, 5}));
    EXPECT_EQ(m.set_short(0xFE, 0x80, 0x80), midi_ok);
    EXPECT_EQ(m.size(), 1);

    for (std::uint8_t status : {0x00, 0x7F, 0xF0, 0xF4, 0xF5, 0xF7, 0xFD})
        EXPECT_EQ(m.set_short(status, 0, 0), midi_bad_short) << int(status);
    EXPECT_EQ(m.set_short(0x90, 0x80, 0), midi_bad_short);
    EXPECT_EQ(m.set_short(0xE0, 0, 0x80), midi_bad_short);
    EXPECT_EQ(m.set_short(0xF1, 0x80, 0), midi_bad_short);
}

TEST(MidiMessage, LongSettersCheckCapacityAndFraming)
{
    midi_msg_t m(8);
    EXPECT_EQ(m.capacity(), 8);
    const std::uint8_t framed[] = {0xF0, 1, 2, 3, 4, 5, 6, 0xF7};
    const std::uint8_t tooLong[] = {0xF0, 1, 2, 3, 4, 5, 6, 7, 0xF7};
    const std::uint8_t open[] = {0xF0, 1, 2};
    const std::uint8_t tail[] = {3, 4, 0xF7};

    EXPECT_EQ(m.set_sysex(framed, 8), midi_ok);
    EXPECT_TRUE(m.is_long());
    EXPECT_EQ(bytesOf(m), Bytes(framed, framed + 8));
    EXPECT_EQ(m.set_sysex(tooLong, 9), midi_sysex_too_long);
    EXPECT_EQ(m.set_sysex(open, 3), midi_sysex_unframed);
    EXPECT_EQ(m.set_sysex(tail, 3), midi_sysex_unframed);
    EXPECT_EQ(m.set_long(tail, 3), midi_ok);
    EXPECT_EQ(bytesOf(m), Bytes(tail, tail + 3));
    EXPECT_EQ(m.set_long(tooLong, 9), midi_sysex_too_long);
    EXPECT_EQ(m.set_bytes(tooLong, 9, true), midi_bytes_too_long);
    EXPECT_EQ(m.set_bytes(open, 2, false), midi_ok);
    EXPECT_FALSE(m.is_long());
    m.clear();
    EXPECT_EQ(m.size(), 0);
    EXPECT_FALSE(m.is_long());
}

TEST(MidiPool, RaisesSmallMessagesAndReusesTheLastReleasedFirst)
{
    midi_msg_pool_t pool(3, 4);
    EXPECT_EQ(pool.message_size(), 8);
    EXPECT_EQ(pool.count(), 3);

    boost::shared_ptr<midi_msg_t> a, b, c, d;
    ASSERT_EQ(pool.get(a), midi_ok);
    ASSERT_EQ(pool.get(b), midi_ok);
    ASSERT_EQ(pool.get(c), midi_ok);
    EXPECT_EQ(a->capacity(), 8);
    EXPECT_EQ(pool.in_use(), 3);
    EXPECT_EQ(pool.get(d), midi_pool_empty);
    EXPECT_FALSE(d);

    b->note_on(0, 1, 2);
    midi_msg_t* const released = b.get();
    b.reset();
    EXPECT_EQ(pool.in_use(), 2);
    ASSERT_EQ(pool.get(d), midi_ok);
    EXPECT_EQ(d.get(), released);
    EXPECT_EQ(d->size(), 0) << "a message comes back cleared";

    // Two let go in a row come back in reverse order.
    midi_msg_t* const first = a.get();
    midi_msg_t* const second = c.get();
    a.reset();
    c.reset();
    ASSERT_EQ(pool.get(a), midi_ok);
    ASSERT_EQ(pool.get(c), midi_ok);
    EXPECT_EQ(a.get(), second);
    EXPECT_EQ(c.get(), first);
}

TEST(MidiPool, TakingAndReleasingAllocateNothing)
{
    midi_msg_pool_t pool(4, 256);
    boost::shared_ptr<midi_msg_t> warm;
    pool.get(warm);
    warm.reset();

    AllocationCounter counter;
    for (int round = 0; round < 100; ++round) {
        boost::shared_ptr<midi_msg_t> m[4];
        for (auto& p : m)
            ASSERT_EQ(pool.get(p), midi_ok);
        boost::shared_ptr<midi_msg_t> copy = m[2];
        m[2].reset();
        EXPECT_EQ(pool.in_use(), 4) << "a copy keeps the message out";
    }
    EXPECT_EQ(counter.count(), 0u);
    EXPECT_EQ(pool.in_use(), 0);
}

TEST(MidiPool, MessagesOutliveThePoolObject)
{
    boost::shared_ptr<midi_msg_t> held;
    {
        midi_msg_pool_t pool(2, 64);
        ASSERT_EQ(pool.get(held), midi_ok);
    }
    held->note_on(1, 60, 64);
    EXPECT_EQ(bytesOf(*held), (Bytes{0x91, 60, 64}));
    held.reset(); // the last message back ends the pool's record
}

TEST(MidiPool, ConcurrentTakersNeverShareAMessageAndReturnAll)
{
    constexpr int kCount = 8;
    midi_msg_pool_t pool(kCount, 16);
    auto worker = [&pool](std::uint8_t tag) {
        int clashes = 0;
        for (int i = 0; i < 20000; ++i) {
            boost::shared_ptr<midi_msg_t> m;
            if (pool.get(m) != midi_ok)
                continue;
            m->note_on(0, tag, tag);
            std::this_thread::yield();
            clashes += m->data()[1] != tag;
        }
        return clashes;
    };
    int clashesA = 0, clashesB = 0;
    std::thread a([&] { clashesA = worker(1); });
    std::thread b([&] { clashesB = worker(2); });
    a.join();
    b.join();
    EXPECT_EQ(clashesA + clashesB, 0);
    EXPECT_EQ(pool.in_use(), 0);
    std::vector<boost::shared_ptr<midi_msg_t>> all(kCount);
    for (auto& m : all)
        EXPECT_EQ(pool.get(m), midi_ok);
    boost::shared_ptr<midi_msg_t> extra;
    EXPECT_EQ(pool.get(extra), midi_pool_empty);
}
