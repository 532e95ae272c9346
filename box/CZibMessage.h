#pragma once
// The box's message: 108 bytes of printable ASCII between 0xF0 and 0xF7, the fields split
// by '|', all numbers upper-case hexadecimal text. Encoding and decoding are pure and
// allocate nothing, so the emulated box can use them on its device path.

#include <array>
#include <cstdint>
#include <string_view>

// The commands that the host sends, and the two targets they go to.
enum tZibCommand : std::uint32_t {
    cmdExtensionState = 0x00010004,
    cmdExtensionKind = 0x00011000,
    cmdArrayState = 0x00030001,
    cmdArraySetup = 0x0004F706,
    cmdReadMemory = 0x00080000, // plus the memory offset
    cmdBulkPreamp = 0x00090000,
    cmdBulkClear = 0x00090001,
};
constexpr std::uint32_t kZibCommandGroupMask = 0xFFFF0000u; // cmdReadMemory's offset sits below
// The name under which the box's MIDI port is found, all 22 characters.
constexpr const char* kZibPortName = "TCAT Dice EVM Platform";
constexpr std::uint8_t kZibTargetBox = 0x01;
constexpr std::uint8_t kZibTargetArray = 0x0A;

class CZibMessage {
public:
    static constexpr int kSize = 108;
    static constexpr int kMaxPayload = 64;
    enum tType { RQ = 1, RS = 2, CH = 3, CF = 4, ER = 5, AL = 6 };

    std::uint8_t mTarget = 0;
    int mType = RQ;
    std::uint32_t mSequence = 0;
    std::uint32_t mCommand = 0;

    // false when the text is longer than 64 characters; the payload is then unchanged.
    bool setPayload(std::string_view text);
    std::string_view payload() const { return {mPayload.data(), static_cast<std::size_t>(mLength)}; }
    // The hexadecimal number at the start of the payload (either case), 0 when there is
    // none; numbers beyond 32 bits saturate.
    std::uint32_t number() const;

    // Writes the 108 bytes: 0, or -1 for a type outside 1 to 6.
    int encode(std::uint8_t* out) const;
    // The envelope and field checks, then the fields: 0, or the code of the failed check
    // (envelope codes as they are, field codes offset by -100).
    static int decode(const std::uint8_t* data, int size, CZibMessage& out);

    // Checks of the envelope (0 or -1 to -6) and of the fields (0 or -1 to -17).
    static int checkEnvelope(const std::uint8_t* data, int size);
    static int checkFields(const std::uint8_t* data, int size);

    // Preamp gain byte: 0 is -97.5 dB, 255 is +30 dB, in steps of 0.5 dB.
    static std::uint8_t encodeGain(float dB);
    static float decodeGain(std::uint8_t code);

    // Upper-case hex text of the low `digits` nibbles of `value`.
    static void writeHex(char* out, std::uint32_t value, int digits);
    // The value of `digits` characters of upper- or lower-case hex, -1 when one isn't.
    static int readHex(std::string_view text, std::size_t at, int digits);

private:
    std::array<char, kMaxPayload> mPayload{};
    int mLength = 0;
};
