#pragma once
// White-box access to the graph's stages for the graph's own tests and benchmarks. Front
// ends never look inside: they use the graph's typed calls.

#include "graph/CAudioGraph.h"

class CAudioGraphProbe {
public:
    explicit CAudioGraphProbe(const CAudioGraph& graph) : mGraph(graph) {}

    vkAudioClass* stage(int index) const { return index >= 0 && index < CAudioGraph::stageCount ? mGraph.mStages[index] : nullptr; }
    CAudioFile* audioFile(int index) const
    {
        return index == CAudioGraph::stageFilePlayer ? mGraph.mFilePlayer.get() : mGraph.recorder(sinkOf(index));
    }
    CVolumeControl* volumeControl(int index) const
    {
        switch (index) {
        case CAudioGraph::stageInputVolume: return mGraph.mInputVolume.get();
        case CAudioGraph::stageBeamVolume: return mGraph.mBeamVolume.get();
        case CAudioGraph::stageMonitorVolume: return mGraph.mMonitorVolume.get();
        default: return nullptr;
        }
    }
    CMaxValue* maxValue(int index) const
    {
        switch (index) {
        case CAudioGraph::stageInputLevel: return mGraph.mInputLevel.get();
        case CAudioGraph::stageOutputLevel: return mGraph.mOutputLevel.get();
        default: return nullptr;
        }
    }
    CZirc* beamformer() const { return mGraph.mZirc.get(); }
    CFilterStageBq* highpass() const { return mGraph.mHighpass.get(); }

private:
    static int sinkOf(int stage)
    {
        return stage == CAudioGraph::stageArrayRecorder  ? CAudioGraph::sinkArray
               : stage == CAudioGraph::stageBeamRecorder ? CAudioGraph::sinkBeams
               : stage == CAudioGraph::stageAmbiRecorder ? CAudioGraph::sinkAmbisonics
                                                         : -1;
    }
    const CAudioGraph& mGraph;
};
