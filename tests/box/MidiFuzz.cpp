// Seeded random mutation of MIDI streams and box messages, fed to the parser, the message
// checks and the calibration reader. Built with the address and undefined-behaviour
// sanitizers; any out-of-bounds access, overflow or broken invariant ends the run with a
// failure. Usage: box_midi_fuzz [iterations] [seed]

#include "box/CZibCalibration.h"
#include "box/CZibMessage.h"
#include "box/midi_msg_parser.h"

#include <boost/make_shared.hpp>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {
using Bytes = std::vector<std::uint8_t>;

[[noreturn]] void fail(const char* what, std::uint64_t iteration)
{
    std::fprintf(stderr, "box_midi_fuzz: %s at iteration %llu\n", what, static_cast<unsigned long long>(iteration));
    std::abort();
}

class Mutator {
public:
    explicit Mutator(std::uint32_t seed) : mRandom(seed) {}

    int below(int n) { return static_cast<int>(mRandom() % static_cast<std::uint32_t>(n)); }
    std::uint8_t byte() { return static_cast<std::uint8_t>(mRandom()); }

    // A well-formed box message with random fields.
    Bytes boxMessage()
    {
        CZibMessage m;
        m.mTarget = byte();
        m.mType = 1 + below(6);
        m.mSequence = static_cast<std::uint32_t>(mRandom());
        m.mCommand = below(2) ? cmdReadMemory + static_cast<std::uint32_t>(below(128)) : static_cast<std::uint32_t>(mRandom());
        std::string payload(static_cast<std::size_t>(below(65)), '0');
        for (char& c : payload)
            c = "0123456789ABCDEFabcdef"[below(22)];
        m.setPayload(payload);
        Bytes out(CZibMessage::kSize);
        m.encode(out.data());
        return out;
    }

    void mutate(Bytes& b)
    {
        const int edits = below(4);
        for (int i = 0; i < edits && !b.empty(); ++i) {
            const std::size_t at = static_cast<std::size_t>(below(static_cast<int>(b.size())));
            switch (below(5)) {
            case 0: b[at] = byte(); break;
            case 1: b[at] = static_cast<std::uint8_t>(std::tolower(b[at])); break;
            case 2: b.insert(b.begin() + static_cast<long>(at), static_cast<std::uint8_t>(0xF8 + below(8))); break;
            case 3: b.erase(b.begin() + static_cast<long>(at)); break;
            default: b.resize(at); break;
            }
        }
    }

    Bytes stream()
    {
        Bytes s;
        const int parts = 1 + below(6);
        for (int p = 0; p < parts; ++p) {
            Bytes piece;
            if (below(3) == 0) {
                piece.resize(static_cast<std::size_t>(below(300)));
                for (auto& x : piece)
                    x = byte();
            } else {
                piece = boxMessage();
            }
            mutate(piece);
            s.insert(s.end(), piece.begin(), piece.end());
        }
        return s;
    }

private:
    std::mt19937 mRandom;
};

void checkMessage(const midi_msg_t& m, std::uint64_t iteration)
{
    if (m.size() < 0 || m.size() > m.capacity())
        fail("message larger than its capacity", iteration);
    if (!m.is_long() && m.size() != midi_msg_t::short_size(m.data()[0]))
        fail("short message of the wrong size", iteration);
    CZibMessage decoded;
    if (CZibMessage::decode(m.data(), m.size(), decoded) != 0)
        return;
    // What decodes, re-encodes into something that decodes to the same fields.
    std::uint8_t again[CZibMessage::kSize];
    CZibMessage twice;
    if (decoded.encode(again) != 0 || CZibMessage::decode(again, CZibMessage::kSize, twice) != 0
        || twice.mSequence != decoded.mSequence || twice.mCommand != decoded.mCommand
        || twice.payload() != decoded.payload() || twice.mType != decoded.mType)
        fail("decoded message does not survive a round trip", iteration);
}
} // namespace

int main(int argc, char** argv)
{
    const std::uint64_t iterations = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000;
    const std::uint32_t seed = argc > 2 ? static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10)) : 20261123u;
    Mutator mutator(seed);
    const int sizes[] = {4, 8, 16, 108, 256};
    std::vector<boost::shared_ptr<midi_msg_t>> out;
    CZibCalibration calibration;

    for (std::uint64_t i = 0; i < iterations; ++i) {
        auto pool = boost::make_shared<midi_msg_pool_t>(1 + mutator.below(16), sizes[mutator.below(5)]);
        midi_msg_parser_t parser(pool);
        const Bytes stream = mutator.stream();
        for (std::size_t at = 0; at < stream.size();) {
            const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(mutator.below(40)), stream.size() - at);
            parser.feed(stream.data() + at, static_cast<int>(n), out);
            at += n;
            for (const auto& m : out)
                checkMessage(*m, i);
            if (mutator.below(2))
                out.clear();
        }
        out.clear();
        const std::string text(stream.begin(), stream.end());
        const int offset = mutator.below(3) * CZibCalibration::kUnit;
        calibration.take(offset, std::string_view(text).substr(0, std::min<std::size_t>(text.size(), 64)));
        if (calibration.mValid && calibration.mDb.size() > 64)
            fail("calibration with more values than a block holds", i);
    }
    std::printf("box_midi_fuzz: %llu streams, no fault\n", static_cast<unsigned long long>(iterations));
    return 0;
}
