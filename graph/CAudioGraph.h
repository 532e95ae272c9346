#pragma once
// The one processing object the driver layer sees: thirteen stages in a fixed order, the
// block buffers between them and two buses. Audio comes from the driver's inputs or a
// wave file, runs through the beamformer (processing mode 1) or straight through (mode
// 0, for a file of another channel count), and goes to the driver's outputs, a mono
// monitor on up to two of them, and the recorders of the array signal and of the beams.
//
// Stages: 0 file player, 1 input volume, 2 recorder of the array signal, 3 input level,
// 4 beamformer, 5 beam volume, 6 high-pass, 7 output level, 8 recorder of the beams,
// 9 monitor volume, 10 Ambisonics encoder, 11 recorder of the Ambisonics channels, 12
// binaural decoder. The chain from the input bus to the output bus runs on borrowed
// channel pointers. Beamforming, the output bus points at the driver's outputs for the
// beams that go there (and at the beamformer's buffer for the others), the beamformer
// writes into it, and beam volume and high-pass work on it in place: no copy follows.
// Straight through, the graph copies the input bus to the outputs. The anti-denormal
// offset is the only other pass the graph adds.
//
// Ambisonics. Beamforming, the encoder reads the engine's equalised modes where the
// engine left them and encodes them at order 3 in the chosen normalisation; the
// Ambisonics recorder takes the first (order+1)^2 of its channels, and the binaural
// decoder all 16, which the monitor's source "binaural" puts on its two outputs (left,
// right). Both stages run only in a block where something uses them: a take of the
// Ambisonics sink, the binaural monitor, or a reader that asked for them (an offline
// render); otherwise they cost nothing. Straight through they do not run.
//
// Front ends steer the graph through the typed calls below and read it back through
// values; no stage pointer leaves it (the tests' probe in tests/support looks inside).
//
// Thread contract: process() runs on the audio thread; everything else on the control
// thread. configure, setInputMode, setProcessingMode and setNumBeams reallocate or rewire
// the chain and give 5 while started. Monitor routing, gains, the high-pass choice and
// beam values, the mounting's and the head's orientation and the ear filters may change
// while audio runs: each is a single atomic store (or a filter
// published by its own stage) that takes effect with the next block.
// Audio thread (process): no allocation, no lock, no I/O; the file stages hand their
// buffers to the disk thread through lock-free rings, and the level stages publish their
// maxima by atomic exchange.

#include "ambisonics/SphericalHarmonics.h"
#include "beamformer/CKorvane.h"
#include "binaural/CHeadRotation.h"
#include "core/contract/vkAudioClass.h"

#include <QString>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

class CAmbiEncoder;
class CAudioFile;
class CBinauralDecoder;
class CBinauralFilters;
class CAudioGraphProbe;
class CFilterStageBq;
class CMaxValue;
class CVolumeControl;
class CZirc;

class CAudioGraph : public vkAudioClass {
public:
    enum tStage : int {
        stageFilePlayer = 0,
        stageInputVolume = 1,
        stageArrayRecorder = 2,
        stageInputLevel = 3,
        stageBeamformer = 4,
        stageBeamVolume = 5,
        stageHighpass = 6,
        stageOutputLevel = 7,
        stageBeamRecorder = 8,
        stageMonitorVolume = 9,
        stageEncoder = 10,
        stageAmbiRecorder = 11,
        stageBinaural = 12,
        stageCount = 13,
    };
    enum tInputMode : int { inputLive = 0, inputFile = 1 };
    enum tProcessingMode : int { processingStraight = 0, processingBeamforming = 1 };
    enum tMonitorSource : int { monitorInputBus = 0, monitorOutputBus = 1, monitorBinaural = 2 };
    enum tRecordingSink : int { sinkArray = 0, sinkBeams = 1, sinkAmbisonics = 2, sinkCount = 3 };
    enum tLevelBus : int { levelInput = 0, levelOutput = 1 };

    enum tResult : int {
        errNotFileMode = 100,  // openInputFile outside file mode
        errFileRate = 101,     // openInputFile: the file's rate is outside the graph's range
    };

    static constexpr int kInputChannels = 32;
    static constexpr int kMaxBeams = 18;
    static constexpr int kMaxMonitorOutputs = 2;
    static constexpr int kMinSampleRate = 39690;
    static constexpr int kMaxSampleRate = 48510;
    static constexpr float kAntiDenormal = 1e-07f;
    // The encoder always makes the 16 channels of order 3; the format picks how many the
    // recorder keeps.
    static constexpr int kAmbiChannels = kAmbiMaxChannels;
    static constexpr int kEars = 2;

    CAudioGraph();
    ~CAudioGraph() override;

    // Slot 2. Gives 6 before a complete configure, 2 for frames outside the block length.
    using vkAudioClass::process;
    int process(float** in, float** out, int frames) override;
    void reset() override;
    int stop() override;
    int start() override;

    // Builds the stages, buffers and wiring for the driver's formats. 2 for formats the
    // graph cannot run, and in live mode for fewer than 32 driver inputs (nothing changes
    // then); a stage's own code when it refuses its format; 7 when a buffer cannot be
    // made. The graph must not run after a failure.
    virtual int configure(vkAudioInterface in, vkAudioInterface out);

    // 5 while started; 8 for an unknown mode; 0 when unchanged. Live mode needs a driver
    // with all 32 inputs (2).
    int setInputMode(int mode);
    int setProcessingMode(int mode);
    // Clamps to 0..maxBeams(); activates beams below the count. 5 while started.
    int setNumBeams(int count);
    // Opens a wave file in the file player. 100 outside file mode, the player's code when
    // it cannot open the file, 101 for a rate outside 39690..48510 Hz.
    int openInputFile(const char* name);

    // Monitor: one channel of the input or output bus, mono, on up to two driver outputs
    // that it overwrites; or, from monitorBinaural, the left ear on the first output and
    // the right on the second. 8 for more than two entries or an entry outside the outputs.
    int setMonitorOutputs(const int* outputs, int count);
    // Offsets outside the bus are clamped to its first or last channel; the binaural
    // source has none.
    void setMonitorSource(int source, int offset);
    void setMonitorEnabled(bool enabled);

    // Calibration and input gain of stage 1 for the first `count` channels.
    void setInputChannelGains(const float* gains, int count);

    // High-pass of the beams: set 0 passes through, 1..3 cut at 80, 160, 320 Hz, designed
    // at the graph's rate; 8 else.
    int setHighpass(int index);
    int highpassCount() const;
    // Fills up to `count` corner frequencies in Hz; gives the number written.
    int highpassFrequencies(int* list, int count) const;

    // One beam's values, forwarded to the beamformer.
    int setTheta(int beam, float theta);
    int setPhi(int beam, float phi);
    int setPattern(int beam, int pattern);
    int setParameter(int beam, int parameter);

    // Pattern queries, forwarded to the beamformer.
    int patternCount() const;
    int maxPolarPoints() const;
    int patternInfo(int pattern, int* nameSize, int* parameterNameSize, int* numParameters, int* polarPoints) const;
    int patternNames(int pattern, char* name, char* parameterName, int* values) const;
    int patternResponse(int pattern, int parameter, float* polar, int* beamWidth) const;

    // Ambisonics. The format (order 1..3, SN3D or N3D; default 3, SN3D) is set while
    // stopped: 5 while started or while an Ambisonics take is open, 8 for another order. The mounting (the array's yaw,
    // pitch and roll in the AmbiX frame, degrees) and the head (yaw > 0 turns the
    // listener's head to the left) may change while audio runs: 8, and nothing changes,
    // for an angle that is not finite.
    int setAmbisonicsFormat(int order, AmbiNorm norm);
    int ambisonicsOrder() const { return mAmbiOrder; }
    AmbiNorm ambisonicsNorm() const;
    int setMountingOrientation(float yaw, float pitch, float roll);
    // The diffuse-field correction of the encoder above spatial aliasing.
    void setAboveAliasing(bool on);
    int setHeadOrientation(const CHeadOrientation& head);
    // Ear filters for the binaural decoder (control thread, also while audio runs: they
    // are cross-faded in); the decoder's code, and the filters in force stay on refusal.
    // Until the first set the ears are silent.
    int setBinauralFilters(const CBinauralFilters& filters);
    // Samples by which the ears follow the Ambisonics channels.
    int binauralLatency() const;
    double sampleRate() const { return mOutFormat.sampleRate(); }
    // A reader outside the graph (an offline render) wants the Ambisonics channels or the
    // ears every block, recorded or monitored or not; it reads them from ambisonicsBus()
    // and binauralBus() after process(). Plain stores the next block takes up.
    void setAmbisonicsReader(bool on) { mAmbiReader.store(on, std::memory_order_release); }
    void setBinauralReader(bool on) { mBinauralReader.store(on, std::memory_order_release); }
    // The 16 encoded channels and the two ears of the last block; null before configure.
    const vkAudioBuffer* ambisonicsBus() const { return mStageOut[stageEncoder].get(); }
    const vkAudioBuffer* binauralBus() const { return mStageOut[stageBinaural].get(); }

    // Recording sink 0 is stage 2, sink 1 stage 8, sink 2 stage 11; any other value maps
    // to itself.
    static int sinkStage(int sink);

    // Hands waiting ring buffers of the three file stages to their disk side: a host
    // without an event loop (an offline render) calls it between blocks.
    void checkFileQueues();

    // Playback of the input file (stage 0). `useThread`: a disk thread of its own, else
    // checkFileQueues() serves it. Positions are frames.
    int startPlayback(bool useThread);
    int pausePlayback();
    int stopPlayback();
    int seekPlayback(int frame);
    int setPlaybackStart(int frame);
    std::int32_t playbackPosition() const;
    std::int64_t inputFileFrames() const;
    int inputFileChannels() const;

    // Takes of a recording sink (sinkArray, sinkBeams, sinkAmbisonics). openTake creates the file
    // exclusively (the recorder's own code when it exists or cannot be made); startTake
    // begins writing; stopTake finishes the file. takeError is the disk's refusal, empty
    // while it writes; takeOverrun tells that the disk side fell a whole ring behind.
    int openTake(int sink, const QString& path);
    int startTake(int sink, bool useThread);
    int stopTake(int sink);
    std::int32_t takePosition(int sink) const;
    QString takeError(int sink) const;
    bool takeOverrun(int sink) const;

    // Gains. Beam gains and mutes act on the beams before the high-pass; the input gain
    // multiplies every capsule's calibration gain.
    void setBeamGain(int beam, float gain);
    void setBeamMute(int beam, bool mute);
    void setBeamsGain(float gain);
    void setInputGain(float gain);
    void setInputMute(bool mute);
    float inputChannelGain(int channel) const;
    void setMonitorGain(float gain);

    // The highest peak and envelope of each channel of a level bus (levelInput,
    // levelOutput) since the last read; the audio thread never waits for it. Gives how
    // many channels it wrote: none for a bad bus.
    int takeLevels(int bus, float* peaks, float* envelopes, int count);
    float levelReleaseTime() const;

    // Where a beam points now (degrees), as the engine has taken it up.
    float beamTheta(int beam) const;
    float beamPhi(int beam) const;

    // Attaches a tap to the engine's equalised modes, or detaches it with null; a detach
    // returns once the audio thread has left the old tap.
    void setModeTap(CKorvane::ModeTap* tap);

    // The buffers, for inspection; null before configure.
    const vkAudioBuffer* stageOutput(int index) const;
    const vkAudioBuffer* inputBus() const { return mInputBus.get(); }
    const vkAudioBuffer* outputBus() const { return mOutputBus.get(); }

    int inputMode() const { return mInputMode; }
    int processingMode() const { return mProcessingMode; }
    int numInputs() const { return mNumInputs; }
    int numBeams() const { return mNumBeams; }
    int maxBeams() const { return mMaxBeams; }
    int monitorSource() const { return mMonitorSource; }
    int monitorOffset() const { return mMonitorOffset; }
    bool monitorEnabled() const { return mMonitorEnabled.load(std::memory_order_relaxed); }
    int numMonitorOutputs() const { return mNumMonitorOutputs.load(std::memory_order_relaxed); }
    int monitorOutput(int k) const;

private:
    friend class CAudioGraphProbe;
    static bool acceptedFormats(const vkAudioInterface& in, const vkAudioInterface& out);
    static bool worksInPlace(int stage);
    int buildStages();
    int setStageFormats();
    int createBuffers();
    void makeRecords();
    void resetVolumes();
    void setUpHighpass();
    void activateBeams();
    void rewireInput();
    void rewireOutput();
    void routeMonitor();
    int processInput(float** in, int frames);
    int deliveredBeams() const;
    void pointBeamsAt(float** out);
    int processBeams(int frames);
    int processHighpass(int frames);
    int processOutput(int frames);
    void deliver(float** out, int frames);
    int processAmbisonics(int frames);
    bool binauralMonitored() const;
    int processMonitor(float** out, int frames);
    CAudioFile* recorder(int sink) const;

    std::array<vkAudioClass*, stageCount> mStages{};
    std::array<std::unique_ptr<vkAudioBuffer>, stageCount> mStageIn;
    std::array<std::unique_ptr<vkAudioBuffer>, stageCount> mStageOut;
    std::unique_ptr<vkAudioBuffer> mInputBus;
    std::unique_ptr<vkAudioBuffer> mOutputBus;
    int mInputMode = inputFile;
    int mProcessingMode = processingBeamforming;
    int mNumInputs = kInputChannels;
    int mNumBeams = 2;
    int mMaxBeams = kMaxBeams;
    int mMonitorSource = monitorOutputBus;
    int mMonitorOffset = 0;
    std::atomic<bool> mMonitorEnabled{false};
    std::atomic<int> mNumMonitorOutputs{0};
    std::array<std::atomic<int>, kMaxMonitorOutputs> mMonitorOutputs{};
    // The monitored channel: kRouteOutputBus for the output bus, or 0 for the input bus,
    // plus the channel. Process points both inputs of stage 9 at it each block.
    static constexpr int kRouteOutputBus = 1 << 16;
    static constexpr int kRouteBinaural = 1 << 17;
    std::atomic<int> mMonitorRoute{kRouteOutputBus};
    // The high-pass set in force, and (audio thread) the frames run since set 0 came.
    std::atomic<int> mHighpassIndex{0};
    int mPassThroughFrames = 0;
    // configure built every stage and buffer.
    bool mReady = false;
    int mAmbiOrder = kAmbiMaxOrder;
    std::atomic<bool> mAmbiReader{false};
    std::atomic<bool> mBinauralReader{false};
    // A take of the Ambisonics sink is open.
    std::atomic<bool> mAmbiTake{false};
    // Audio thread: the encoder and decoder skipped the last block, so their history is
    // stale and is cleared before they run again.
    bool mAmbiIdle = true;
    bool mEarsIdle = true;

    // The formats of each stage's input and output, copies of the graph's own records.
    std::array<vkAudioInterface, stageCount> mStageInFormat;
    std::array<vkAudioInterface, stageCount> mStageOutFormat;

    std::unique_ptr<CAudioFile> mFilePlayer;
    std::unique_ptr<CVolumeControl> mInputVolume;
    std::unique_ptr<CAudioFile> mArrayRecorder;
    std::unique_ptr<CMaxValue> mInputLevel;
    std::unique_ptr<CZirc> mZirc;
    std::unique_ptr<CVolumeControl> mBeamVolume;
    std::unique_ptr<CFilterStageBq> mHighpass;
    std::unique_ptr<CMaxValue> mOutputLevel;
    std::unique_ptr<CAudioFile> mBeamRecorder;
    std::unique_ptr<CVolumeControl> mMonitorVolume;
    std::unique_ptr<CAmbiEncoder> mEncoder;
    std::unique_ptr<CAudioFile> mAmbiRecorder;
    std::unique_ptr<CBinauralDecoder> mDecoder;
};
