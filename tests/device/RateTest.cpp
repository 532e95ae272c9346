// Rate conversion: the table of reachable rates, the designed filters against their
// properties, and sines through the layer measured by least-squares fits in double.

#include "core/contract/vkAudioClass.h"
#include "device/vkRateFilters.h"
#include "tests/device/HostFixture.h"
#include "tests/support/AllocationCounter.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace {

constexpr double kPi = std::numbers::pi;

double dB(double ratio) { return 20.0 * std::log10(ratio); }

// Amplitudes of the given frequencies in x, fitted jointly so that a strong tone does not
// leak into the measure of a weak one.
std::vector<double> amplitudes(const std::vector<double>& x, double rate, const std::vector<double>& freqs)
{
    const std::size_t k = 2 * freqs.size();
    std::vector<double> a(k * k, 0.0), b(k, 0.0), basis(k);
    for (std::size_t n = 0; n < x.size(); ++n) {
        for (std::size_t f = 0; f < freqs.size(); ++f) {
            const double phase = 2.0 * kPi * freqs[f] * static_cast<double>(n) / rate;
            basis[2 * f] = std::cos(phase);
            basis[2 * f + 1] = std::sin(phase);
        }
        for (std::size_t i = 0; i < k; ++i) {
            b[i] += basis[i] * x[n];
            for (std::size_t j = 0; j < k; ++j)
                a[i * k + j] += basis[i] * basis[j];
        }
    }
    for (std::size_t p = 0; p < k; ++p) { // Gauss-Jordan; the normal matrix is well conditioned
        for (std::size_t r = 0; r < k; ++r) {
            if (r == p)
                continue;
            const double m = a[r * k + p] / a[p * k + p];
            for (std::size_t c = 0; c < k; ++c)
                a[r * k + c] -= m * a[p * k + c];
            b[r] -= m * b[p];
        }
    }
    std::vector<double> result;
    for (std::size_t f = 0; f < freqs.size(); ++f)
        result.push_back(std::hypot(b[2 * f] / a[2 * f * k + 2 * f], b[2 * f + 1] / a[(2 * f + 1) * k + 2 * f + 1]));
    return result;
}

// Where a frequency lands after sampling at `rate`.
double fold(double f, double rate)
{
    return std::abs(f - std::round(f / rate) * rate);
}

class StreamRecorder : public vkAudioClass {
public:
    using vkAudioClass::process;
    StreamRecorder() { log.reserve(1 << 18); }
    int process(float** in, float** out, int frames) override
    {
        log.insert(log.end(), in[0], in[0] + frames);
        std::copy(in[0], in[0] + frames, out[0]);
        return 0;
    }
    std::vector<float> log;
};

using RateTable = HostFixture;

TEST_F(RateTable, RatesADriverLacksAreReachedThroughTheTable)
{
    fake.config.rates = {48000.0};
    fake.config.rate = 48000.0;
    load();
    EXPECT_EQ(hostCanSampleRate(48000.0), 1);
    EXPECT_EQ(hostCanSampleRate(44100.0), 0);
    EXPECT_EQ(hostCanSampleRate(24000.0), 2);
    EXPECT_EQ(hostCanSampleRate(24000.9), 2) << "the table works on the truncated rate";
    EXPECT_EQ(hostCanSampleRate(22050.0), 0);
    EXPECT_EQ(hostSetSampleRate(22050.0), vkHostErrRate);
    EXPECT_EQ(hostSetSampleRate(44100.0), vkHostErrRate);

    EXPECT_EQ(hostSetSampleRate(32000.0), 0);
    EXPECT_EQ(state().mRateUp, 2);
    EXPECT_EQ(state().mRateDown, 3);
    EXPECT_EQ(state().mFilterIndex, 1);
    EXPECT_EQ(hostSampleRate(), 32000.0);
    EXPECT_EQ(state().mDriverRate, 48000.0);
    EXPECT_EQ(hostSetBlockLength(1000), 0);
    EXPECT_EQ(state().mDeviceBlock, 1500);
    EXPECT_EQ(state().mFilterRuns, 500);
    EXPECT_EQ(hostSetBlockLength(1001), vkHostErrBlock);
    EXPECT_EQ(state().mFilterRuns, 500) << "a refused length leaves the filter runs";
    EXPECT_EQ(hostOpen(), vkHostErrBlock) << "a block the filters cannot make up is not opened";
    EXPECT_EQ(hostSetBlockLength(2000), 0);
    EXPECT_EQ(hostOpen(), 0);
    EXPECT_EQ(hostSetBlockLength(1001), vkHostErrBlock);
    EXPECT_FALSE(hostIsOpen());

    EXPECT_EQ(hostSetSampleRate(48000.0), 0);
    EXPECT_EQ(state().mFilterIndex, -1);
    EXPECT_EQ(state().mRateUp, 1);
    EXPECT_EQ(state().mRateDown, 1);
}

TEST_F(RateTable, ARateConversionSurvivesTheReloadOfTheDriver)
{
    fake.config.rates = {44100.0};
    load();
    ASSERT_EQ(hostSetBlockLength(400), 0);
    ASSERT_EQ(hostOpen(), 0);
    EXPECT_EQ(hostSetSampleRate(11025.0), 0);
    EXPECT_EQ(fake.created(), 2);
    EXPECT_TRUE(hostIsOpen());
    EXPECT_EQ(hostBlockLength(), 400) << "the reset keeps the block length";
    EXPECT_EQ(state().mDeviceBlock, 1600);
    EXPECT_EQ(state().mFilterIndex, 2);
    EXPECT_EQ(state().mInFilter.size(), 2u);
    EXPECT_EQ(state().mInFormat.sampleRate(), 11025.0f);

    // A plain load takes the driver's block as the processing block, at the same ratio.
    ASSERT_EQ(hostLoadDriver("Fake Driver"), 0);
    EXPECT_EQ(hostBlockLength(), 512);
    EXPECT_EQ(state().mDeviceBlock, 2048);
    EXPECT_EQ(state().mFilterRuns, 512);
    ASSERT_EQ(hostOpen(), 0);
    ASSERT_EQ(hostStart(), 1);
    for (int half = 0; half < 8; ++half)
        driver().callback(half & 1);
    EXPECT_EQ(state().mBlockCount.load(), 2);
}

// The driver counts its latencies at its own rate; the stream sees them at its rate.
TEST_F(RateTable, TheDriversLatenciesAreCountedAtTheStreamsRateWhileOpen)
{
    fake.config.rates = {48000.0};
    fake.config.rate = 48000.0;
    fake.config.inputLatency = 300;
    fake.config.outputLatency = 700;
    load();
    EXPECT_EQ(hostInputLatency(), 0) << "no buffers, no latency";
    ASSERT_EQ(hostOpen(), 0);
    EXPECT_EQ(hostInputLatency(), 300);
    EXPECT_EQ(hostOutputLatency(), 700);
    ASSERT_EQ(hostSetSampleRate(24000.0), 0);
    EXPECT_EQ(hostInputLatency(), 150);
    EXPECT_EQ(hostOutputLatency(), 350);
    ASSERT_EQ(hostSetSampleRate(32000.0), 0);
    EXPECT_EQ(hostOutputLatency(), 466) << "2/3 of 700, truncated";
    hostClose();
    EXPECT_EQ(hostInputLatency(), 0);
    EXPECT_EQ(hostOutputLatency(), 0);
}

// Response of a row in double precision at frequency f (cycles per sample).
double response(int row, double f)
{
    std::complex<double> sum = 0.0;
    for (int n = 0; n < vkRateFilterTaps[row]; ++n)
        sum += static_cast<double>(vkRateFilterTable[row][n]) * std::polar(1.0, -2.0 * kPi * f * n);
    return std::abs(sum);
}

TEST(RateFilters, EachRowIsASymmetricLowPassWithItsBandsAndLength)
{
    const int factors[] = {2, 3, 4, 6};
    const int taps[] = {85, 127, 169, 251};
    for (int row = 0; row < vkRateFilterRows; ++row) {
        SCOPED_TRACE(row);
        const int n = vkRateFilterTaps[row];
        const double m = vkRateFilterFactor[row];
        EXPECT_EQ(vkRateFilterFactor[row], factors[row]);
        EXPECT_EQ(n, taps[row]);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(vkRateFilterTable[row][i], vkRateFilterTable[row][n - 1 - i]);
        for (int i = n; i < vkRateFilterLength; ++i)
            ASSERT_EQ(vkRateFilterTable[row][i], 0.0f);

        double worstStop = 0.0, passLow = 1e9, passHigh = 0.0, minus6 = 0.0;
        for (int k = 0; k <= 4000; ++k) {
            const double f = 0.5 * k / 4000.0;
            const double g = response(row, f);
            if (f >= 0.534 / m)
                worstStop = std::max(worstStop, g);
            if (f <= 0.432 / m) {
                passLow = std::min(passLow, g);
                passHigh = std::max(passHigh, g);
            }
            if (minus6 == 0.0 && g < 0.5)
                minus6 = f;
        }
        EXPECT_LT(dB(worstStop), -93.0);
        EXPECT_GT(dB(passLow), -0.02);
        EXPECT_LT(dB(passHigh), 0.02);
        // Half the amplitude about the middle of the transition band.
        EXPECT_NEAR(minus6 * m, 0.483, 0.012);
        EXPECT_NEAR(response(row, 0.0), 1.0, 0.002);
    }
}

class RateConversion : public HostFixture, public ::testing::WithParamInterface<std::tuple<double, double>> {
protected:
    void SetUp() override
    {
        const auto [driverRate, streamRate] = GetParam();
        fake.config.rates = {driverRate};
        fake.config.rate = driverRate;
        fake.config.preferredBlock = 512;
        load();
        const int channel[] = {0};
        ASSERT_EQ(hostSetInputs(channel, 1), 0);
        ASSERT_EQ(hostSetOutputs(channel, 1), 0);
        ASSERT_EQ(hostSetBlockLength(480), 0);
        ASSERT_EQ(hostSetSampleRate(streamRate), 0);
        ASSERT_EQ(hostOpen(), 0);
        ASSERT_EQ(recorder.setFormat(state().mInFormat, state().mOutFormat), 0);
        hostSetObject(&recorder);
        ASSERT_EQ(hostSetTarget(vkTargetObject), 0);
        output.reserve(1 << 18);
    }

    // Plays a sine of amplitude 0.5 for a second and a half at the driver's rate.
    void play(double frequency)
    {
        recorder.log.clear();
        output.clear();
        ASSERT_EQ(hostStart(), 1);
        const double rate = state().mDriverRate;
        const int block = driver().blockSize();
        AllocationCounter counter;
        for (int n = 0, half = 0; n < static_cast<int>(1.5 * rate); n += block, half ^= 1) {
            std::int32_t* in = int32At(0, half);
            for (int i = 0; i < block; ++i)
                in[i] = static_cast<std::int32_t>(std::lround(0.5 * 2147483648.0 * std::sin(2.0 * kPi * frequency * (n + i) / rate)));
            driver().callback(half);
            const std::int32_t* out = int32At(1, half);
            for (int i = 0; i < block; ++i)
                output.push_back(out[i] / 2147483648.0);
        }
        EXPECT_EQ(counter.count(), 0u);
        ASSERT_EQ(hostStop(), 1);
    }

    // The last half second of a signal, past the start-up of the filters.
    static std::vector<double> tail(const std::vector<double>& x, double rate)
    {
        return std::vector<double>(x.end() - static_cast<std::ptrdiff_t>(rate / 2), x.end());
    }
    std::vector<double> stream() const { return tail(std::vector<double>(recorder.log.begin(), recorder.log.end()), hostSampleRate()); }

    StreamRecorder recorder;
    std::vector<double> output;
};

TEST_P(RateConversion, APassBandSineKeepsItsLevelAndLeavesNoImage)
{
    const auto [driverRate, streamRate] = GetParam();
    for (double share : {0.1, 0.37}) {
        const double f = share * streamRate;
        SCOPED_TRACE(f);
        play(f);
        EXPECT_NEAR(dB(amplitudes(stream(), streamRate, {f})[0] / 0.5), 0.0, 0.1);

        std::vector<double> freqs{f};
        for (int k = 1; k <= 6; ++k)
            for (double image : {fold(k * streamRate - f, driverRate), fold(k * streamRate + f, driverRate)})
                if (std::abs(image - f) > 50.0 && image > 50.0 && image < driverRate / 2 - 50.0
                    && std::find(freqs.begin(), freqs.end(), image) == freqs.end())
                    freqs.push_back(image);
        ASSERT_GT(freqs.size(), 1u);
        const std::vector<double> a = amplitudes(tail(output, driverRate), driverRate, freqs);
        EXPECT_NEAR(dB(a[0] / 0.5), 0.0, 0.1) << "through both filters";
        for (std::size_t i = 1; i < a.size(); ++i)
            EXPECT_LT(dB(a[i] / a[0]), -90.0) << "image at " << freqs[i];
    }
}

TEST_P(RateConversion, AStopBandSineLeavesNoAliasInTheStream)
{
    const auto [driverRate, streamRate] = GetParam();
    const double highRate = driverRate * state().mRateUp;
    const double stopEdge = 0.534 / vkRateFilterFactor[state().mFilterIndex] * highRate;
    for (double f : {std::min(stopEdge * 1.03, 0.49 * driverRate), 0.75 * driverRate / 2}) {
        const double alias = fold(f, streamRate);
        SCOPED_TRACE(f);
        play(f);
        EXPECT_LT(dB(amplitudes(stream(), streamRate, {alias})[0] / 0.5), -90.0) << "alias at " << alias;
    }
}

INSTANTIATE_TEST_SUITE_P(DriverAndStreamRate, RateConversion,
                         ::testing::Values(std::tuple{48000.0, 32000.0}, std::tuple{48000.0, 24000.0},
                                           std::tuple{48000.0, 16000.0}, std::tuple{48000.0, 12000.0},
                                           std::tuple{48000.0, 8000.0}, std::tuple{44100.0, 22050.0},
                                           std::tuple{44100.0, 11025.0}));

} // namespace
