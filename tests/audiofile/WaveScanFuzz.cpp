// A seeded random mutator over wave files, driving the chunk scanner and the bounded
// reader from memory. Built with AddressSanitizer and UndefinedBehaviorSanitizer: a
// crash, an out-of-bounds access or a hang (the ctest timeout) is a failure.
//
// Usage: audiofile_scan_fuzz [seconds] [seed]

#include "audiofile/CWaveFile.h"
#include "tests/audiofile/WaveTestSupport.h"

#include <QBuffer>
#include <QElapsedTimer>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

using namespace wavetest;

namespace {

QByteArray levlChunk()
{
    QByteArray body;
    for (std::uint32_t field : {0u, 1u, 2u, 256u, 1u, 3u, 0u, 128u})
        waveBytes::putU32(body, field);
    body.append("2026:01:02:03:04:05:006");
    body.append(QByteArray(120 - body.size(), '\0'));
    body.append("\x10\x20\x30\x40\x50\x60", 6);
    return chunk("levl", body);
}

std::vector<QByteArray> seeds()
{
    QByteArray ds64;
    waveBytes::putU64(ds64, 200);
    waveBytes::putU64(ds64, 24);
    waveBytes::putU64(ds64, 6);
    waveBytes::putU32(ds64, 0);
    QByteArray rf64Data("data");
    waveBytes::putU32(rf64Data, 0xFFFFFFFFu);
    rf64Data.append(QByteArray(24, '\x11'));
    const QByteArray samples(48, '\x22');
    return {
        riff(chunk("fmt ", fmtBody(1, 2, 48000, 16)) + chunk("data", samples)),
        riff(chunk("junk", QByteArray(28, '\0')) + chunk("fmt ", extensibleBody(3, 44100, 24, 1))
             + chunk("data", samples) + chunk("bext", QByteArray(610, 'b')) + levlChunk()),
        riff(chunk("ds64", ds64) + chunk("fmt ", extensibleBody(2, 48000, 32, 3)) + rf64Data, "RF64"),
        riff(chunk("FMT ", fmtBody(3, 1, 8000, 32)) + chunk("odd ", "abc") + chunk("DATA", samples)),
    };
}

const std::uint32_t interesting[] = {0u, 1u, 7u, 16u, 18u, 22u, 28u, 40u, 119u, 120u, 128u, 602u,
                                     0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu};

void mutate(QByteArray& bytes, std::mt19937& random)
{
    const int count = 1 + int(random() % 6);
    for (int m = 0; m < count && !bytes.isEmpty(); ++m) {
        const int at = int(random() % std::uint32_t(bytes.size()));
        switch (random() % 7) {
        case 0:
            bytes[at] = char(bytes[at] ^ (1 << (random() % 8)));
            break;
        case 1:
            bytes[at] = char(random());
            break;
        case 2: { // an interesting size or field value, little-endian
            QByteArray value;
            waveBytes::putU32(value, interesting[random() % std::size(interesting)]);
            bytes.replace(at, std::min<int>(4, int(bytes.size()) - at), value.left(bytes.size() - at));
            break;
        }
        case 3:
            bytes.truncate(at);
            break;
        case 4:
            bytes.insert(at, QByteArray(int(random() % 64), char(random())));
            break;
        case 5:
            bytes.remove(at, int(random() % 32));
            break;
        default: // a copy of a stretch elsewhere: duplicated chunks and heads
            bytes.insert(int(random() % std::uint32_t(bytes.size())), bytes.mid(at, int(random() % 80)));
            break;
        }
    }
}

// Opens the bytes and reads them as a player would; false when an invariant breaks.
bool exercise(const QByteArray& bytes, std::mt19937& random)
{
    QBuffer device;
    device.setData(bytes);
    device.open(QIODevice::ReadOnly);
    CWaveFile wave;
    int channels, rate, tag, bytesPerSample, levl;
    if (wave.openDevice(&device, channels, rate, tag, bytesPerSample, levl) != waveOk)
        return !wave.isOpen();
    if (wave.dataOffset() + wave.dataSize() > std::uint64_t(bytes.size()))
        return false;
    if (wave.numFrames() < 0 || std::uint64_t(wave.levl().mPeakData.size()) > std::uint64_t(bytes.size()))
        return false;
    wave.seekFrames(std::int32_t(random() % 64));
    QByteArray block(int(random() % 256) + 1, '\x5a');
    for (int i = 0; i < 4; ++i) {
        const qint64 got = wave.readSamples(block);
        if (got < 0 || got > block.size())
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    // A seek past the end of a memory buffer is one of the things tried; Qt warns of it.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 5;
    const unsigned seed = argc > 2 ? unsigned(std::strtoul(argv[2], nullptr, 10)) : 20261123u;
    std::mt19937 random(seed);
    const std::vector<QByteArray> corpus = seeds();
    for (const QByteArray& bytes : corpus)
        if (!exercise(bytes, random)) {
            std::fprintf(stderr, "a seed file fails\n");
            return 1;
        }
    QElapsedTimer clock;
    clock.start();
    long runs = 0;
    while (clock.elapsed() < seconds * 1000LL) {
        QByteArray bytes = corpus[random() % corpus.size()];
        mutate(bytes, random);
        if (!exercise(bytes, random)) {
            std::fprintf(stderr, "invariant broken by input %s\n", bytes.toHex().constData());
            return 1;
        }
        ++runs;
    }
    std::printf("%ld inputs, seed %u\n", runs, seed);
    return 0;
}
