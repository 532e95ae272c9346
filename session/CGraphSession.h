#pragma once
// The audio graph together with the values the user has set on it: every front end (the
// application's session, the offline renderer) steers the graph through these commands,
// which keep each value and pass it on (the Ambisonics format, the mounting, the head and
// the ear filters among them). A rebuild for new formats makes a new graph and
// sets all kept values on it again, so that nothing the user set is lost; a mode tap
// (the sound map) is taken off, since it was made for the old graph's rate and block. Readers get values (levels, positions,
// beam directions), never a pointer into a stage. Control thread only; the graph's own
// contract says which calls reach the audio thread and how.

#include "graph/CAudioGraph.h"

#include <array>
#include <memory>
#include <string>

class CBinauralFilters;

class CGraphSession {
public:
    static constexpr int kMaxBeams = CAudioGraph::kMaxBeams;
    static constexpr int kCapsules = CAudioGraph::kInputChannels;

    // One beam as the user set it.
    // Yaw, pitch and roll in degrees.
    struct Orientation {
        float yaw = 0.0f;
        float pitch = 0.0f;
        float roll = 0.0f;
    };

    struct Beam {
        float theta = 90.0f;
        float phi = 0.0f;
        int pattern = 0;
        int parameter = 0;
        float gain = 1.0f;
        bool mute = false;
    };

    CGraphSession();
    ~CGraphSession();

    // A new graph for these formats with every kept value set again; the graph's code
    // (0 when it runs). The previous graph and its tap are gone either way.
    int build(const vkAudioInterface& in, const vkAudioInterface& out);
    bool ready() const { return mResult == vkOk && mGraph; }
    // The graph as the driver layer or a render loop runs it; null before a build.
    vkAudioClass* processor() const { return mGraph.get(); }
    // For reading the graph's state and pattern catalogue; null before a build.
    const CAudioGraph* graph() const { return mGraph.get(); }

    // ---- commands: each keeps its value and passes it to the graph when there is one
    int setInputMode(int mode);
    int setProcessingMode(int mode);
    int setNumBeams(int count);
    void steer(int beam, float theta, float phi);
    void setTheta(int beam, float theta);
    void setPhi(int beam, float phi);
    void setPattern(int beam, int pattern, int parameter);
    void setBeamGain(int beam, float gain);
    void setBeamMute(int beam, bool mute);
    void setBeamsGain(float gain);
    void setBeam(int beam, const Beam& values);
    void setInputGain(float gain);
    void setInputMute(bool mute);
    // The capsules' calibration gains (linear); they multiply with the input gain.
    void setCalibration(const std::array<float, kCapsules>& gains);
    int setHighpass(int index);
    void setMonitorSource(int source, int channel);
    void setMonitorGain(float gain);
    void setMonitorEnabled(bool enabled);
    // Kept even where the present graph has fewer outputs: the next build takes them.
    int setMonitorOutputs(const int* outputs, int count);
    void setModeTap(CKorvane::ModeTap* tap);
    // Ambisonics: the format (a graph that runs refuses it with 5; 8 for a bad order),
    // the array's mounting, the correction above aliasing. Angles that are not finite
    // give 8 and are not kept.
    int setAmbisonicsFormat(int order, AmbiNorm norm);
    int setMountingOrientation(const Orientation& mounting);
    void setAboveAliasing(bool on);
    // Binaural: the head, and ear filters designed for the graph's rate from the SOFA
    // file at `path`. The filters are kept and set again on a rebuild at their rate; at
    // another rate hrtfNeedsDesign() tells that they must be designed again. On refusal
    // the filters in force stay.
    int setHeadOrientation(const Orientation& head);
    int setBinauralFilters(std::shared_ptr<const CBinauralFilters> filters, const std::string& path);
    // Reads and designs here and now (the renderer); a window's session designs on a
    // worker and calls setBinauralFilters.
    int loadHrtf(const std::string& path, std::string& message);
    bool hrtfNeedsDesign() const;
    int binauralLatency() const { return ready() ? mGraph->binauralLatency() : 0; }
    // A reader of the Ambisonics channels or the ears outside the graph (see CAudioGraph).
    void setAmbisonicsReader(bool on);
    void setBinauralReader(bool on);

    // ---- the input file, takes and levels: no value to keep, passed straight on; each
    // gives vkErrNotConfigured (or nothing) without a graph
    int openInputFile(const QString& path);
    int startPlayback(bool useThread);
    int pausePlayback();
    int stopPlayback();
    int seekPlayback(int frame);
    int setPlaybackStart(int frame);
    std::int32_t playbackPosition() const;
    int openTake(int sink, const QString& path);
    int startTake(int sink, bool useThread);
    int stopTake(int sink);
    std::int32_t takePosition(int sink) const;
    QString takeError(int sink) const;
    bool takeOverrun(int sink) const;
    int takeLevels(int bus, float* peaks, float* envelopes, int count);
    void checkFileQueues();

    const Beam& beam(int index) const { return mBeams[static_cast<std::size_t>(clampBeam(index))]; }
    int numBeams() const { return mNumBeams; }
    int highpass() const { return mHighpass; }
    int ambisonicsOrder() const { return mAmbiOrder; }
    AmbiNorm ambisonicsNorm() const { return mAmbiNorm; }
    const Orientation& mounting() const { return mMounting; }
    bool aboveAliasing() const { return mAboveAliasing; }
    const Orientation& head() const { return mHead; }
    // The SOFA file whose filters are in force (or were, before a rebuild at another rate).
    const std::string& hrtfPath() const { return mHrtfPath; }

private:
    static int clampBeam(int beam) { return beam < 0 ? 0 : beam >= kMaxBeams ? kMaxBeams - 1 : beam; }
    static bool validBeam(int beam) { return beam >= 0 && beam < kMaxBeams; }
    void applyAll();
    void applyBeam(int beam);

    std::unique_ptr<CAudioGraph> mGraph;
    int mResult = vkErrNotConfigured;
    std::array<Beam, kMaxBeams> mBeams{};
    int mNumBeams = 2;
    int mInputMode = CAudioGraph::inputFile;
    int mProcessingMode = CAudioGraph::processingBeamforming;
    float mBeamsGain = 1.0f;
    float mInputGain = 1.0f;
    bool mInputMute = false;
    std::array<float, kCapsules> mCalibration;
    int mHighpass = 0;
    int mMonitorSource = CAudioGraph::monitorOutputBus;
    int mMonitorChannel = 0;
    float mMonitorGain = 1.0f;
    bool mMonitorEnabled = false;
    std::array<int, CAudioGraph::kMaxMonitorOutputs> mMonitorOutputs{};
    int mNumMonitorOutputs = 0;
    CKorvane::ModeTap* mTap = nullptr;
    int mAmbiOrder = kAmbiMaxOrder;
    AmbiNorm mAmbiNorm = AmbiNorm::kSn3d;
    Orientation mMounting;
    bool mAboveAliasing = false;
    Orientation mHead;
    std::shared_ptr<const CBinauralFilters> mFilters;
    std::string mHrtfPath;
    bool mAmbiReader = false;
    bool mBinauralReader = false;
};
