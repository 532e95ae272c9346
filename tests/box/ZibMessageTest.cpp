#include "box/CZibCalibration.h"
#include "box/CZibMessage.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace {
using Frame = std::array<std::uint8_t, CZibMessage::kSize>;

// A request as a host would write it, spelt out by hand.
Frame handWritten()
{
    const std::string text = "MSCP|01|00|0A|CH|0000002A|00090001|08|000001FE";
    Frame f{};
    f[0] = 0xF0;
    std::copy(text.begin(), text.end(), f.begin() + 1);
    f[107] = 0xF7;
    return f;
}

Frame encoded(const CZibMessage& m)
{
    Frame f{};
    EXPECT_EQ(m.encode(f.data()), 0);
    return f;
}
} // namespace

TEST(ZibMessage, EncodesTheFieldsAtTheirOffsetsAndDecodesThemBack)
{
    CZibMessage m;
    m.mTarget = 0x0A;
    m.mType = CZibMessage::CH;
    m.mSequence = 42;
    m.mCommand = cmdBulkClear;
    ASSERT_TRUE(m.setPayload("000001FE"));
    EXPECT_EQ(encoded(m), handWritten());

    m.mSequence = 0xDEADBEEF;
    m.mCommand = cmdReadMemory + 0x40;
    ASSERT_TRUE(m.setPayload(std::string(64, 'C')));
    CZibMessage back;
    ASSERT_EQ(CZibMessage::decode(encoded(m).data(), CZibMessage::kSize, back), 0);
    EXPECT_EQ(back.mSequence, 0xDEADBEEFu);
    EXPECT_EQ(back.mCommand, cmdReadMemory + 0x40);
    EXPECT_EQ(back.payload(), std::string(64, 'C'));

    EXPECT_FALSE(m.setPayload(std::string(65, 'A')));
    Frame f{};
    m.mType = 7;
    EXPECT_EQ(m.encode(f.data()), -1);
}

TEST(ZibMessage, EveryMalformedFieldIsRefusedByItsCheck)
{
    struct Fault {
        const char* what;
        int at;
        std::uint8_t byte;
        int envelope;
        int fields;
    };
    const Fault faults[] = {
        {"start byte", 0, 0xF1, -2, 0},
        {"tag", 2, 's', -3, 0},
        {"first separator", 5, ':', -4, 0},
        {"version in lower case", 7, 'a', -5, 0},
        {"end byte", 107, 0xF0, -6, -17},
        {"separator at 8", 8, ' ', 0, -2},
        {"prefix digit", 10, 'G', 0, -3},
        {"separator at 11", 11, 0, 0, -4},
        {"target in lower case", 13, 'a', 0, -5},
        {"separator at 14", 14, '/', 0, -6},
        {"unknown type", 15, 'X', 0, -7},
        {"separator at 17", 17, '-', 0, -8},
        {"sequence in lower case", 25, 'a', 0, -9},
        {"separator at 26", 26, '_', 0, -10},
        {"command in lower case", 30, 'f', 0, -11},
        {"separator at 35", 35, ';', 0, -12},
        {"length digit", 36, 'x', 0, -13},
        {"length 0x41", 36, '4', 0, -14},
        {"separator at 38", 38, '!', 0, -15},
        {"trailer byte", 105, 1, 0, -16},
    };
    for (const Fault& f : faults) {
        Frame frame = handWritten();
        if (f.at == 36)
            frame[37] = '1';
        frame[static_cast<std::size_t>(f.at)] = f.byte;
        EXPECT_EQ(CZibMessage::checkEnvelope(frame.data(), CZibMessage::kSize), f.envelope) << f.what;
        if (f.envelope == 0) {
            EXPECT_EQ(CZibMessage::checkFields(frame.data(), CZibMessage::kSize), f.fields) << f.what;
        }
        CZibMessage out;
        EXPECT_NE(CZibMessage::decode(frame.data(), CZibMessage::kSize, out), 0) << f.what;
    }
    EXPECT_EQ(CZibMessage::checkEnvelope(handWritten().data(), 7), -1);
    EXPECT_EQ(CZibMessage::checkFields(handWritten().data(), 107), -1);
    Frame len40 = handWritten();
    len40[36] = '4';
    len40[37] = '0';
    EXPECT_EQ(CZibMessage::checkFields(len40.data(), CZibMessage::kSize), 0) << "64 bytes is the most";
}

TEST(ZibMessage, GainBytesCoverMinus97_5To30DbInHalfDecibels)
{
    EXPECT_EQ(CZibMessage::encodeGain(-100.0f), 0x00);
    EXPECT_EQ(CZibMessage::encodeGain(-97.0f), 0x01);
    EXPECT_EQ(CZibMessage::encodeGain(0.0f), 0xC3);
    EXPECT_EQ(CZibMessage::encodeGain(0.24f), 0xC3);
    EXPECT_EQ(CZibMessage::encodeGain(0.25f), 0xC4);
    EXPECT_EQ(CZibMessage::encodeGain(30.0f), 0xFF);
    EXPECT_EQ(CZibMessage::encodeGain(std::nanf("")), 0x00);
    for (int code = 1; code < 256; ++code)
        EXPECT_EQ(CZibMessage::encodeGain(CZibMessage::decodeGain(static_cast<std::uint8_t>(code))), code);
}

TEST(ZibMessage, NumbersAreReadFromTheStartOfThePayload)
{
    CZibMessage m;
    for (const auto& [text, value] : {std::pair<const char*, std::uint32_t>{"00000001", 1}, {"", 0}, {"1FEzz", 0x1FE},
                                      {"ab", 0xAB}, {"123456789", 0xFFFFFFFF}}) {
        ASSERT_TRUE(m.setPayload(text));
        EXPECT_EQ(m.number(), value) << text;
    }
}

namespace {
// The box's memory as hex text, 32 bytes per answer.
std::string memoryUnit(const std::vector<std::uint8_t>& memory, int offset)
{
    std::string text(64, '0');
    for (int i = 0; i < 32; ++i) {
        const std::size_t at = static_cast<std::size_t>(offset + i);
        CZibMessage::writeHex(text.data() + 2 * i, at < memory.size() ? memory[at] : 0, 2);
    }
    return text;
}

std::vector<std::uint8_t> memoryWith(int version, int sizeByte, const std::vector<std::uint16_t>& values, int lead = 1)
{
    std::vector<std::uint8_t> memory(17, 0x55);
    memory.push_back(static_cast<std::uint8_t>(version));
    memory.push_back(static_cast<std::uint8_t>(sizeByte));
    memory.push_back(static_cast<std::uint8_t>(lead));
    for (std::uint16_t v : values) {
        memory.push_back(static_cast<std::uint8_t>(v >> 8));
        memory.push_back(static_cast<std::uint8_t>(v & 0xFF));
    }
    return memory;
}

// Runs the reads as the control thread does; returns the offsets asked for.
std::vector<int> readAll(CZibCalibration& c, const std::vector<std::uint8_t>& memory)
{
    std::vector<int> asked = {0};
    for (int next = c.take(0, memoryUnit(memory, 0)); next >= 0; next = c.take(next, memoryUnit(memory, next)))
        asked.push_back(next);
    return asked;
}
} // namespace

TEST(ZibCalibration, AVersionOneBlockTakesThreeReadsAndGivesOneValuePerCapsule)
{
    std::vector<std::uint16_t> values;
    for (int i = 0; i < 32; ++i)
        values.push_back(static_cast<std::uint16_t>(i * 1000 + 17));
    values[31] = 0xFFFF;
    CZibCalibration c;
    EXPECT_EQ(readAll(c, memoryWith(1, 68, values)), (std::vector<int>{0, 32, 64}));
    ASSERT_TRUE(c.mValid);
    EXPECT_EQ(c.mSize, 65);
    EXPECT_EQ(c.mReceived, 65);
    ASSERT_EQ(c.mDb.size(), 32u);
    for (int i = 0; i < 31; ++i)
        EXPECT_FLOAT_EQ(c.mDb[static_cast<std::size_t>(i)], (i * 1000 + 17) / 4096.0f) << i;
    EXPECT_NEAR(c.mDb[31], 15.99976f, 1e-5f) << "values stop below 16 dB";
}

TEST(ZibCalibration, BadBlocksEndTheReadAndStayInvalid)
{
    const std::vector<std::uint16_t> values(32, 0x1000);
    struct Case {
        const char* what;
        std::vector<std::uint8_t> memory;
        std::vector<int> asked;
    };
    const Case cases[] = {
        {"version 2", memoryWith(2, 68, values), {0}},
        {"size below the header", memoryWith(1, 2, values), {0}},
        {"size other than 65", memoryWith(1, 40, values), {0, 32}},
        {"leading byte other than 1", memoryWith(1, 68, values, 2), {0, 32, 64}},
    };
    for (const Case& k : cases) {
        CZibCalibration c;
        EXPECT_EQ(readAll(c, k.memory), k.asked) << k.what;
        EXPECT_FALSE(c.mValid) << k.what;
    }
}
