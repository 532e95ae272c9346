#include "render/CRenderer.h"

#include "render/CMapPicture.h"

#include "emulation/CHardwareModel.h"
#include "emulation/CSoundScene.h"

#include <QFileInfo>

#include <cmath>

namespace {

constexpr int kCapsules = CAudioGraph::kInputChannels;
constexpr int kMaxBeams = CRenderOptions::kMaxBeams;
// Peaks reported from the whole run's map: at most this many, within this range.
constexpr int kMapPeaks = 8;
constexpr float kMapRangeDb = 30.0f;

// Frames that each of the pipeline's pools holds: enough for the writer to absorb the
// array recorder's writes of whole ring buffers (seconds of 32 channels at a time) while
// the graph goes on, and far less than that ring, so the recorder is never overrun.
constexpr int kPipelineFrames = 32768;
constexpr int kMinPipelineBlocks = 4;

template <typename Block, typename... Sizes>
std::vector<std::unique_ptr<Block>> pool(int count, Sizes... sizes)
{
    std::vector<std::unique_ptr<Block>> blocks;
    for (int i = 0; i < count; ++i)
        blocks.push_back(std::make_unique<Block>(sizes...));
    return blocks;
}

CSceneSignal sceneSignal(const CSceneSourceRequest& source, double rate, int index)
{
    const float level = float(std::pow(10.0, 0.05 * source.levelDb));
    return CSceneSignal(source.kind, rate, level, std::uint32_t(index + 1), source.frequency);
}

} // namespace

CRenderer::CRenderer() = default;
CRenderer::~CRenderer() = default;

bool CRenderer::prepare(const CRenderOptions& options, QString& error)
{
    mBlock = options.blockLength;
    if (!resolveBeams(options, error))
        return false;
    if (options.scene)
        buildScene(options);
    else if (!openInputFile(options, error))
        return false;
    if (mOutputChannels < 1 && !options.output.isEmpty())
        return refuse(error, QStringLiteral("no beams: give --beam AZ,EL,PATTERN or --beams FILE.vts with at least one "
                                            "track"));
    if (!buildGraph(options, error) || !setUpAmbisonics(options, error) || !openOutputs(options, error))
        return false;
    buildPipeline();
    return true;
}

bool CRenderer::refuse(QString& error, const QString& message)
{
    error = message;
    mRefusedCommandLine = true;
    return false;
}

// A pattern or "WNG" value that does not exist is the command line's fault; a settings
// file that cannot be read is the file's.
bool CRenderer::resolveBeams(const CRenderOptions& options, QString& error)
{
    mBeams.clear();
    if (options.beamFile.isEmpty()) {
        for (const CBeamTrackRecord& beam : options.beams) {
            CBeamSetting setting;
            QString why;
            if (!mCatalogue.resolveStrict(beam, setting, why))
                return refuse(error, why);
            mBeams.push_back(setting);
        }
        return true;
    }
    CBeamSettings settings;
    const int result = CBeamSettings::load(options.beamFile, settings, kMaxBeams);
    if (result != CBeamSettings::resultOk) {
        error = QStringLiteral("%1: %2").arg(options.beamFile, CBeamSettings::describe(result));
        return false;
    }
    for (const CBeamTrackRecord& track : settings.tracks)
        mBeams.push_back(mCatalogue.resolveLenient(track));
    return true;
}

bool CRenderer::openInputFile(const CRenderOptions& options, QString& error)
{
    mInputName = options.inputFile;
    const QFileInfo info(mInputName);
    if (!info.exists() || !info.isFile()) {
        error = QStringLiteral("cannot read %1: no such file").arg(mInputName);
        return false;
    }
    if (!mInput.open(mInputName, mBlock, error))
        return false;
    const int channels = mInput.channels();
    const QString counted = QStringLiteral("%1 has %2 channel%3").arg(mInputName).arg(channels).arg(channels == 1 ? "" : "s");
    mBeamformed = channels == kCapsules;
    if (!mBeamformed && (!options.beams.isEmpty() || !options.beamFile.isEmpty()))
        return refuse(error, QStringLiteral("%1: the beams need the %2 capsule channels (without --beam and --beams the "
                                            "file is copied straight through)")
                                 .arg(counted)
                                 .arg(kCapsules));
    if (!mBeamformed && options.wantsAmbisonics())
        return refuse(error, QStringLiteral("%1: --ambix and --binaural need the %2 capsule channels")
                                 .arg(counted)
                                 .arg(kCapsules));
    mSampleRate = mInput.sampleRate();
    mTotalFrames = mInput.frames();
    mOutputChannels = options.output.isEmpty() ? 0 : mBeamformed ? int(mBeams.size()) : std::min(channels, kMaxBeams);
    if (!mBeamformed && options.wantsMap())
        mMapNote = QStringLiteral("no sound map: %1, the map needs the array's %2 capsule channels")
                       .arg(counted)
                       .arg(kCapsules);
    noteUnfinishedInput();
    return true;
}

void CRenderer::noteUnfinishedInput()
{
    if (!mInput.unfinished())
        return;
    const auto length = [this](qint64 frames) {
        return QStringLiteral("%1 frames (%2 s)").arg(frames).arg(double(frames) / mSampleRate, 0, 'f', 3);
    };
    mInputWarning = QStringLiteral("warning: %1 is unfinished: its header promises %2, the file holds %3; "
                                   "rendering the %4 frames there")
                        .arg(mInputName, length(mInput.promisedFrames()), length(mInput.frames()))
                        .arg(mInput.frames());
}

void CRenderer::buildScene(const CRenderOptions& options)
{
    mSampleRate = options.sampleRate;
    const qint64 frames = qint64(std::ceil(options.duration * mSampleRate));
    mTotalFrames = (frames + mBlock - 1) / mBlock * mBlock;
    mBeamformed = true;
    mOutputChannels = options.output.isEmpty() ? 0 : int(mBeams.size());
    mHardware = std::make_unique<CHardwareModel>();
    mScene = std::make_unique<CSoundScene>(double(mSampleRate));
    if (options.sources.isEmpty())
        CSoundScene::addDefaultSources(*mScene);
    for (int i = 0; i < options.sources.size(); ++i) {
        const CSceneSourceRequest& source = options.sources[i];
        mScene->addSource(float(source.theta), float(source.phi), sceneSignal(source, mSampleRate, i));
    }
    float gains[kCapsules];
    for (int c = 0; c < kCapsules; ++c)
        gains[c] = mHardware->capsuleGain(c);
    mScene->setCapsuleGains(gains);
}

bool CRenderer::buildGraph(const CRenderOptions& options, QString& error)
{
    const int result = configureGraph();
    if (result == vkErrFormat)
        error = QStringLiteral("sample rate %1 Hz refused: the signal path runs at %2 to %3 Hz")
                    .arg(mSampleRate)
                    .arg(CAudioGraph::kMinSampleRate)
                    .arg(CAudioGraph::kMaxSampleRate);
    else if (result != vkOk)
        error = QStringLiteral("the audio graph refused its set-up (code %1)").arg(result);
    if (result != vkOk)
        return false;
    if (mBeamformed)
        steerBeams();
    if (mBeamformed && options.wantsMap())
        attachMap(options);
    if (mHardware)
        calibrate();
    return true;
}

// The format, the mounting and the head, and the ear filters: a SOFA file the decoder
// refuses is the command line's fault.
bool CRenderer::setUpAmbisonics(const CRenderOptions& options, QString& error)
{
    if (!options.wantsAmbisonics())
        return true;
    mGraph.setAmbisonicsFormat(options.ambiOrder, options.ambiNorm);
    mGraph.setMountingOrientation({options.mounting.yaw, options.mounting.pitch, options.mounting.roll});
    mAmbixChannels = options.ambixOutput.isEmpty() ? 0 : ambiChannelCount(options.ambiOrder);
    mGraph.setAmbisonicsReader(mAmbixChannels > 0);
    if (options.binauralOutput.isEmpty())
        return true;
    mGraph.setHeadOrientation({options.head.yaw, options.head.pitch, options.head.roll});
    mGraph.setBinauralReader(true);
    std::string message;
    if (mGraph.loadHrtf(options.hrtfFile.toStdString(), message) != vkOk)
        return refuse(error, QStringLiteral("--hrtf %1 refused: %2")
                                 .arg(options.hrtfFile, message.empty() ? QStringLiteral("no filters") : QString::fromStdString(message)));
    return true;
}

// The graph's formats, input, processing mode and beam count; the first failing code.
// A file comes in as the live input does: the renderer reads it with libsndfile, which
// knows more containers than the application's file player.
int CRenderer::configureGraph()
{
    const float rate = float(mSampleRate);
    mGraph.setInputMode(CAudioGraph::inputLive);
    mGraph.setProcessingMode(mBeamformed ? CAudioGraph::processingBeamforming : CAudioGraph::processingStraight);
    mGraph.setNumBeams(mOutputChannels);
    // Without beams the graph still needs an output to run on; it stays silent.
    return mGraph.build(vkAudioInterface::timeDomain(kCapsules, rate, mBlock),
                        vkAudioInterface::timeDomain(std::max(mOutputChannels, 1), rate, mBlock));
}

// The input volume's channel gains undo the capsules' sensitivity errors.
void CRenderer::calibrate()
{
    std::array<float, kCapsules> calibration;
    for (int c = 0; c < kCapsules; ++c)
        calibration[std::size_t(c)] = float(std::pow(10.0, 0.05 * mHardware->capsuleErrorDb(c)));
    mGraph.setCalibration(calibration);
}

void CRenderer::steerBeams()
{
    for (int b = 0; b < int(mBeams.size()); ++b) {
        const CBeamSetting& beam = mBeams[std::size_t(b)];
        mGraph.setBeam(b, {beam.theta, beam.phi, beam.pattern, beam.parameter, beam.gain, beam.mute});
    }
}

// A period of one block, so that every sample of the run reaches the map; the map
// averages all periods evenly.
void CRenderer::attachMap(const CRenderOptions& options)
{
    mCovariance = std::make_unique<CModeCovariance>(double(mSampleRate), mBlock);
    mMap = std::make_unique<CSoundMap>(options.mapGrid);
    mMap->setSmoothing(CSoundMap::kWholeRun);
    mMap->setMethod(options.mapMusic ? CSoundMap::kMusic : CSoundMap::kSteeredPower);
    mGraph.setModeTap(mCovariance.get());
    if (!options.mapFile.isEmpty())
        mMapFile = std::make_unique<CPendingFile>(options.mapFile);
}

bool CRenderer::openSink(CRenderSink& sink, std::unique_ptr<CPendingFile>& file, const QString& name, int channels,
                         int format, QString& error)
{
    if (name.isEmpty())
        return true;
    file = std::make_unique<CPendingFile>(name);
    if (sink.open(file->temporaryName(), channels, mSampleRate, format, mBlock))
        return true;
    error = QStringLiteral("cannot write %1").arg(name);
    return false;
}

bool CRenderer::openOutputs(const CRenderOptions& options, QString& error)
{
    const int format = options.floatOutput ? CRenderSink::formatFloat32 : CRenderSink::formatInteger24;
    if (!openSink(mSink, mBeamFile, options.output, mOutputChannels, format, error)
        || !openSink(mAmbixSink, mAmbixFile, options.ambixOutput, mAmbixChannels, format, error)
        || !openSink(mEarSink, mEarFile, options.binauralOutput, CAudioGraph::kEars, format, error))
        return false;
    if (!options.arrayOutput.isEmpty()) {
        mArrayFile = std::make_unique<CPendingFile>(options.arrayOutput);
        if (mGraph.openTake(CAudioGraph::sinkArray, mArrayFile->temporaryName()) != vkOk) {
            error = QStringLiteral("cannot write %1").arg(options.arrayOutput);
            return false;
        }
    }
    // Without a thread of its own a file stage writes when checkQueue() hands it a
    // buffer: between blocks, in step with the render.
    mGraph.startTake(CAudioGraph::sinkArray, false);
    const int result = mGraph.processor()->start();
    if (result != vkOk)
        error = QStringLiteral("the audio graph did not start (code %1)").arg(result);
    return result == vkOk;
}

void CRenderer::buildPipeline()
{
    const int blocks = std::max(kMinPipelineBlocks, kPipelineFrames / mBlock);
    const int ears = mEarFile ? CAudioGraph::kEars : 0;
    mPipeline = std::make_unique<Pipeline>(pool<CPlanarBlock>(blocks, kCapsules, mBlock),
                                           pool<CRenderedBlock>(blocks, std::max(mOutputChannels, 1), mAmbixChannels,
                                                                ears, mBlock));
}

bool CRenderer::run(const std::function<void(double)>& progress, const std::atomic<bool>& cancel, QString& error)
{
    Pipeline::Stages stages;
    stages.read = [this](CPlanarBlock& in, qint64 index, QString& e) { return readBlock(in, index * mBlock, e); };
    stages.process = [&](CPlanarBlock& in, CRenderedBlock& out, qint64 index, QString& e) {
        if (cancel.load(std::memory_order_relaxed)) {
            e = QStringLiteral("interrupted; no output written");
            return false;
        }
        if (!processBlock(in, out, index * mBlock, e))
            return false;
        if (progress)
            progress(double(std::min((index + 1) * mBlock, mTotalFrames)) / mSampleRate);
        return true;
    };
    stages.write = [this](const CRenderedBlock& out, QString& e) { return writeBlock(out, e); };
    return mPipeline->run((mTotalFrames + mBlock - 1) / mBlock, stages, error) && finish(error);
}

// Reader thread.
bool CRenderer::readBlock(CPlanarBlock& in, qint64 done, QString& error)
{
    if (mScene) {
        mScene->render(in.channels(), mBlock);
        return true;
    }
    if (mInput.read(in.channels(), kCapsules, mBlock))
        return true;
    error = QStringLiteral("cannot read %1: reading failed at %2 s").arg(mInputName).arg(double(done) / mSampleRate);
    return false;
}

// The calling thread: the graph, and what the writer needs of it copied into `out`
// before the next block overwrites it. The covariance keeps only its newest period, so
// it is fetched here, after every block.
bool CRenderer::processBlock(CPlanarBlock& in, CRenderedBlock& out, qint64 done, QString& error)
{
    const int result = mGraph.processor()->process(in.channels(), out.beams.channels(), mBlock);
    if (result != vkOk) {
        error = QStringLiteral("the audio graph failed with code %1 at %2 s").arg(result).arg(double(done) / mSampleRate);
        return false;
    }
    out.frames = int(std::min<qint64>(mBlock, mTotalFrames - done));
    const CAudioGraph& graph = *mGraph.graph();
    if (mAmbixFile)
        out.ambisonics.copyFrom(graph.ambisonicsBus()->data(), out.frames);
    if (mEarFile)
        out.ears.copyFrom(graph.binauralBus()->data(), out.frames);
    out.hasPeriod = mCovariance && mCovariance->fetch(out.period);
    return true;
}

// Writer thread: the files, the array recorder's disk side (the graph's file stages take
// their disk side from whichever one thread calls checkFileQueues) and the map.
bool CRenderer::writeBlock(const CRenderedBlock& out, QString& error)
{
    if (!writeSink(mSink, mBeamFile.get(), out.beams, out.frames, error)
        || !writeSink(mAmbixSink, mAmbixFile.get(), out.ambisonics, out.frames, error)
        || !writeSink(mEarSink, mEarFile.get(), out.ears, out.frames, error))
        return false;
    mGraph.checkFileQueues();
    if (!arrayWritten(error))
        return false;
    if (out.hasPeriod)
        mMap->update(out.period);
    return true;
}

bool CRenderer::writeSink(CRenderSink& sink, const CPendingFile* file, const CPlanarBlock& block, int frames,
                          QString& error)
{
    if (!file || sink.write(block.channels(), frames))
        return true;
    error = QStringLiteral("cannot write %1: the disk refused the samples").arg(file->finalName());
    return false;
}

bool CRenderer::arrayWritten(QString& error) const
{
    if (!mArrayFile || mGraph.takeError(CAudioGraph::sinkArray).isEmpty())
        return true;
    error = QStringLiteral("cannot write %1: the disk refused the samples").arg(mArrayFile->finalName());
    return false;
}

qint64 CRenderer::clippedSamples() const
{
    return mSink.clippedSamples() + mAmbixSink.clippedSamples() + mEarSink.clippedSamples();
}

bool CRenderer::finish(QString& error)
{
    mGraph.stopTake(CAudioGraph::sinkArray);
    mGraph.processor()->stop();
    for (CRenderSink* sink : {&mSink, &mAmbixSink, &mEarSink})
        sink->close();
    const auto commit = [&error](const std::unique_ptr<CPendingFile>& file) { return !file || file->commit(error); };
    return arrayWritten(error) && writeMap(error) && commit(mBeamFile) && commit(mArrayFile) && commit(mMapFile)
           && commit(mAmbixFile) && commit(mEarFile);
}

bool CRenderer::writeMap(QString& error)
{
    if (!mMap)
        return true;
    mPeaks = mMap->peaks(kMapPeaks, kMapRangeDb);
    if (mMapFile && !CMapPicture::draw(*mMap, kMapRangeDb, mPeaks).save(mMapFile->temporaryName(), "PNG")) {
        error = QStringLiteral("cannot write %1").arg(mMapFile->finalName());
        return false;
    }
    return true;
}
