#include "box/CZibMessage.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr std::uint8_t kBegin = 0xF0;
constexpr std::uint8_t kEnd = 0xF7;
constexpr char kSeparator = '|';
constexpr const char* kTag = "MSCP";
constexpr const char* kVersion = "01";
constexpr const char* kTypeNames[] = {"RQ", "RS", "CH", "CF", "ER", "AL"};
constexpr int kTypeCount = 6;
constexpr int kTrailer = 103;

// Field offsets.
constexpr int kAtVersion = 6, kAtPrefix = 9, kAtTarget = 12, kAtType = 15, kAtSequence = 18,
              kAtCommand = 27, kAtLength = 36, kAtPayload = 39;

// The protocol's digits: '0'-'9' and 'A'-'F' only.
int protocolDigit(std::uint8_t c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

int anyDigit(char c)
{
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return protocolDigit(static_cast<std::uint8_t>(c));
}

bool hexField(const std::uint8_t* data, int at, int digits)
{
    return std::all_of(data + at, data + at + digits, [](std::uint8_t c) { return protocolDigit(c) >= 0; });
}

std::uint32_t hexValue(const std::uint8_t* data, int at, int digits)
{
    std::uint32_t v = 0;
    for (int i = 0; i < digits; ++i)
        v = (v << 4) | static_cast<std::uint32_t>(protocolDigit(data[at + i]));
    return v;
}

int typeAt(const std::uint8_t* data)
{
    for (int t = 0; t < kTypeCount; ++t)
        if (data[kAtType] == kTypeNames[t][0] && data[kAtType + 1] == kTypeNames[t][1])
            return t + 1;
    return 0;
}
} // namespace

bool CZibMessage::setPayload(std::string_view text)
{
    if (text.size() > static_cast<std::size_t>(kMaxPayload))
        return false;
    std::copy(text.begin(), text.end(), mPayload.begin());
    mLength = static_cast<int>(text.size());
    return true;
}

std::uint32_t CZibMessage::number() const
{
    std::uint64_t v = 0;
    for (char c : payload()) {
        const int d = anyDigit(c);
        if (d < 0)
            break;
        v = std::min<std::uint64_t>((v << 4) | static_cast<std::uint64_t>(d), 0xFFFFFFFFu);
    }
    return static_cast<std::uint32_t>(v);
}

void CZibMessage::writeHex(char* out, std::uint32_t value, int digits)
{
    static constexpr char kDigits[] = "0123456789ABCDEF";
    for (int i = digits - 1; i >= 0; --i, value >>= 4)
        out[i] = kDigits[value & 0xF];
}

int CZibMessage::readHex(std::string_view text, std::size_t at, int digits)
{
    if (at + static_cast<std::size_t>(digits) > text.size())
        return -1;
    int v = 0;
    for (int i = 0; i < digits; ++i) {
        const int d = anyDigit(text[at + static_cast<std::size_t>(i)]);
        if (d < 0)
            return -1;
        v = (v << 4) | d;
    }
    return v;
}

int CZibMessage::encode(std::uint8_t* out) const
{
    if (mType < RQ || mType > AL)
        return -1;
    std::memset(out, 0, kSize);
    char* text = reinterpret_cast<char*>(out);
    out[0] = kBegin;
    std::memcpy(text + 1, kTag, 4);
    for (int at : {5, 8, 11, 14, 17, 26, 35, 38})
        text[at] = kSeparator;
    std::memcpy(text + kAtVersion, kVersion, 2);
    writeHex(text + kAtPrefix, 0, 2);
    writeHex(text + kAtTarget, mTarget, 2);
    std::memcpy(text + kAtType, kTypeNames[mType - 1], 2);
    writeHex(text + kAtSequence, mSequence, 8);
    writeHex(text + kAtCommand, mCommand, 8);
    writeHex(text + kAtLength, static_cast<std::uint32_t>(mLength), 2);
    std::memcpy(text + kAtPayload, mPayload.data(), static_cast<std::size_t>(mLength));
    out[kSize - 1] = kEnd;
    return 0;
}

int CZibMessage::checkEnvelope(const std::uint8_t* data, int size)
{
    if (size < 8)
        return -1;
    if (data[0] != kBegin)
        return -2;
    if (std::memcmp(data + 1, kTag, 4) != 0)
        return -3;
    if (data[5] != kSeparator)
        return -4;
    if (!hexField(data, kAtVersion, 2))
        return -5;
    if (data[size - 1] != kEnd)
        return -6;
    return 0;
}

int CZibMessage::checkFields(const std::uint8_t* data, int size)
{
    // The checks in order, failing with -2, -3, ... in turn: a separator (no digits), a
    // hex field of `digits` characters, or the type (at -1).
    struct Step {
        int at;
        int digits;
    };
    static constexpr Step kSteps[] = {{8, 0},  {kAtPrefix, 2},  {11, 0}, {kAtTarget, 2},
                                      {14, 0}, {-1, 0},         {17, 0}, {kAtSequence, 8},
                                      {26, 0}, {kAtCommand, 8}, {35, 0}, {kAtLength, 2}};
    if (size < kSize)
        return -1;
    int code = -2;
    for (const Step& s : kSteps) {
        const bool ok = s.at < 0       ? typeAt(data) != 0
                        : s.digits > 0 ? hexField(data, s.at, s.digits)
                                       : data[s.at] == kSeparator;
        if (!ok)
            return code;
        --code;
    }
    if (hexValue(data, kAtLength, 2) > static_cast<std::uint32_t>(kMaxPayload))
        return -14;
    if (data[kAtPayload - 1] != kSeparator)
        return -15;
    if (data[kTrailer] || data[kTrailer + 1] || data[kTrailer + 2] || data[kTrailer + 3])
        return -16;
    if (data[kSize - 1] != kEnd)
        return -17;
    return 0;
}

int CZibMessage::decode(const std::uint8_t* data, int size, CZibMessage& out)
{
    if (int code = checkEnvelope(data, size))
        return code;
    if (int code = checkFields(data, size))
        return code - 100;
    out.mTarget = static_cast<std::uint8_t>(hexValue(data, kAtTarget, 2));
    out.mType = typeAt(data);
    out.mSequence = hexValue(data, kAtSequence, 8);
    out.mCommand = hexValue(data, kAtCommand, 8);
    out.mLength = static_cast<int>(hexValue(data, kAtLength, 2));
    std::memcpy(out.mPayload.data(), data + kAtPayload, static_cast<std::size_t>(out.mLength));
    return 0;
}

std::uint8_t CZibMessage::encodeGain(float dB)
{
    // Below -97 dB (and for anything that isn't a number) the byte is that of -97.5 dB.
    const float x = !(dB >= -97.0f) ? -97.5f : std::min(dB, 30.0f);
    return static_cast<std::uint8_t>(2.0f * (x + 97.5f) + 0.5f);
}

float CZibMessage::decodeGain(std::uint8_t code) { return 0.5f * static_cast<float>(code) - 97.5f; }
