#include "box/midi_msg.h"
#include "box/midi_msg_pool.h"
#include "box/midi_result.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {
using Bytes = std::vector<std::uint8_t>;
Bytes bytesOf(const midi_msg_t& m) { return {m.data(), m.data() + m.size()}; }
} // namespace

TEST(MidiMessage, BuildersSetChannelAndSizeAndMaskDataBytes)
{
    midi_msg_t m(16);
    m.note_off(3, 60, 0x1FF);
    EXPECT_EQ(bytesOf(m), (Bytes{0x83, 60, 0x7F}));
    m.note_on(15, 0x80 | 64, 100);
    EXPECT_EQ(bytesOf(m), (Bytes{0x9F, 64, 100}));
    m.program_change(9, 130);
    EXPECT_EQ(bytesOf(m), (Bytes{0xC9, 2}));
    m.song_position(5, 6);
    EXPECT_EQ(bytesOf(m), (Bytes{0xF2, 5, 6}));
    m.active_sensing();
    EXPECT_EQ(bytesOf(m), (Bytes{0xFE}));
    EXPECT_FALSE(m.is_long());
}

TEST(MidiMessage, SettersRefuseWhatDoesNotFitOrIsMalformed)
{
    midi_msg_t m(8);
    EXPECT_EQ(m.set_short(0xC0, 5, 0x99), midi_ok) << "the byte beyond the size is no data byte";
    EXPECT_EQ(bytesOf(m), (Bytes{0xC0, 5}));
    for (std::uint8_t status : {0x00, 0x7F, 0xF0, 0xF4, 0xF5, 0xF7, 0xFD})
        EXPECT_EQ(m.set_short(status, 0, 0), midi_bad_short) << int(status);
    EXPECT_EQ(m.set_short(0x90, 0x80, 0), midi_bad_short);
    EXPECT_EQ(m.set_short(0xE0, 0, 0x80), midi_bad_short);

    const std::uint8_t framed[] = {0xF0, 1, 2, 3, 4, 5, 6, 0xF7};
    const std::uint8_t tooLong[] = {0xF0, 1, 2, 3, 4, 5, 6, 7, 0xF7};
    const std::uint8_t tail[] = {3, 4, 0xF7};
    EXPECT_EQ(m.set_sysex(framed, 8), midi_ok);
    EXPECT_TRUE(m.is_long());
    EXPECT_EQ(m.set_sysex(tooLong, 9), midi_sysex_too_long);
    EXPECT_EQ(m.set_sysex(framed, 7), midi_sysex_unframed);
    EXPECT_EQ(m.set_sysex(tail, 3), midi_sysex_unframed);
    EXPECT_EQ(m.set_long(tail, 3), midi_ok);
    EXPECT_EQ(bytesOf(m), Bytes(tail, tail + 3));
    EXPECT_EQ(m.set_bytes(tooLong, 9, true), midi_bytes_too_long);
}

TEST(MidiPool, RaisesSmallMessagesAndReusesTheLastReleasedFirst)
{
    midi_msg_pool_t pool(3, 4);
    EXPECT_EQ(pool.message_size(), 8);
    boost::shared_ptr<midi_msg_t> a, b, c, d;
    ASSERT_EQ(pool.get(a), midi_ok);
    ASSERT_EQ(pool.get(b), midi_ok);
    ASSERT_EQ(pool.get(c), midi_ok);
    EXPECT_EQ(pool.get(d), midi_pool_empty);
    EXPECT_FALSE(d);

    b->note_on(0, 1, 2);
    midi_msg_t* const released = b.get();
    b.reset();
    ASSERT_EQ(pool.get(d), midi_ok);
    EXPECT_EQ(d.get(), released);
    EXPECT_EQ(d->size(), 0) << "a message comes back cleared";

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

TEST(MidiPool, ConcurrentTakersNeverShareAMessageAndReturnAll)
{
    midi_msg_pool_t pool(8, 16);
    auto worker = [&pool](std::uint8_t tag, int& clashes) {
        for (int i = 0; i < 20000; ++i) {
            boost::shared_ptr<midi_msg_t> m;
            if (pool.get(m) != midi_ok)
                continue;
            m->note_on(0, tag, tag);
            std::this_thread::yield();
            clashes += m->data()[1] != tag;
        }
    };
    int clashesA = 0, clashesB = 0;
    std::thread a(worker, 1, std::ref(clashesA));
    std::thread b(worker, 2, std::ref(clashesB));
    a.join();
    b.join();
    EXPECT_EQ(clashesA + clashesB, 0);
    EXPECT_EQ(pool.in_use(), 0);
}
