#pragma once
// The beamformer as the audio graph sees it: 32 capsule channels in, one channel per beam
// out (at most 30). It owns the pattern library and the engine (CKorvane), loads the
// engine's constant tables at configuration, and turns a beam's pattern and parameter
// into rows of the pattern tables for the beam's filter objects. No signal code of its
// own: process, start and stop go straight to the engine, where the started state lives.
//
// Channel parameters (each one 32-bit integer): 0 "theta", 1 "phi", 2 "pattern" of one
// beam; 3 "mbfMode" (signal path mode, CKorvane::tMode) and 4 "eqStatus" for all beams.
//
// Thread contract: setFormat and setBeamActive run on the control thread while the engine
// is stopped. setTheta, setPhi, setPattern, setParameter, setMbfMode and setEqStatus may
// run on the control thread while process runs: angles and modes are single stores,
// filters are published by their own objects. The per-beam pattern records are touched
// by the control thread alone.
// Audio thread (process): no allocation, no lock, no I/O.

#include "beamformer/CKorvane.h"
#include "beamformer/CZircFactory.h"
#include "beamformer/CZrPattern.h"

#include <memory>

class CZirc : public vkAudioClass {
public:
    static constexpr int kInputChannels = 32;
    static constexpr int kMaxBeams = 30;
    static constexpr float kMinSampleRate = 39690.0f;
    static constexpr float kMaxSampleRate = 48510.0f;
    static constexpr int kModes = 16;

    enum tParameter : int { kTheta = 0, kPhi = 1, kPattern = 2, kMbfMode = 3, kEqStatus = 4, kParameterCount = 5 };

    enum Result : int {
        kErrBeam = 101, // a beam outside 0..beams-1
        kErrMode = 102, // a signal path mode outside 0..4
    };

    CZirc();
    ~CZirc() override;

    using vkAudioClass::process;
    int setFormat(const vkAudioInterface& in, const vkAudioInterface& out) override;
    int process(float** in, float** out, int frames) override;
    int stop() override;
    int start() override;
    int setChannelParameter(int channel, int id, const void* data, int count, int type) override;
    int getChannelParameter(int channel, int id, void* data, int count, int type) override;

    // Steering and selection.
    int setTheta(int beam, float theta);
    int setPhi(int beam, float phi);
    // Records the beam's pattern (8 when there is none such); no filter changes yet.
    int setPattern(int beam, int pattern);
    // Hands the rows of the beam's pattern at `parameter` to its filter objects.
    int setParameter(int beam, int parameter);
    int setBeamActive(int beam, bool active);
    int setMbfMode(int mode);
    int setEqStatus(bool on);

    // Pattern queries for the user interface; 8 for a pattern that does not exist.
    int patternCount() const { return mNumPatterns; }
    int maxPolarPoints() const;
    int patternInfo(int pattern, int* nameSize, int* parameterNameSize, int* numParameters, int* polarPoints) const;
    int patternNames(int pattern, char* name, char* parameterName, int* values) const;
    int patternResponse(int pattern, int parameter, float* polar, int* beamWidth) const;

    int beamCount() const { return mBeamCount; }
    CKorvane* engine() { return mArray.get(); }

private:
    const CZrPattern* zrPattern(int index) const;
    int loadTables();
    int applyDefaults();
    bool validBeam(int beam) const { return beam >= 0 && beam < mBeamCount; }

    std::unique_ptr<CZircFactory> mFactory;
    std::unique_ptr<const CZrPattern*[]> mBeamPattern;
    std::unique_ptr<CKorvane> mArray;
    int mEbfFilterMode = CEbf::kFilterBiquads;
    int mMbfMode = CKorvane::kModeFull;
    int mHfRestoreType = 0;
    bool mEqStatus = true;
    std::unique_ptr<int[]> mBeamPatternIndex;
    std::unique_ptr<int[]> mBeamParameterIndex;
    int mNumPatterns = 0;
    int mBeamCount = 0;
};
