#include "render/CRenderOptions.h"

#include "render/CFileIdentity.h"

#include "graph/CAudioGraph.h"
#include "soundmap/SoundMapGrid.h"

#include <QCommandLineParser>

#include <cmath>
#include <optional>

namespace {

const QString kKinds = QStringLiteral("melody, percussion, warble, noise, sine:HZ");

std::optional<int> integerIn(const QString& text, int low, int high)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    if (!ok || value < low || value > high)
        return std::nullopt;
    return value;
}

std::optional<double> numberIn(const QString& text, double low, double high)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < low || value > high)
        return std::nullopt;
    return value;
}

// AZIMUTH,ELEVATION[,...]: the direction that beams and sources share, in degrees.
bool parseDirection(const QStringList& fields, double& phi, double& theta)
{
    const auto azimuth = numberIn(fields.value(0), 0.0, 360.0);
    const auto elevation = numberIn(fields.value(1), 0.0, 180.0);
    if (!azimuth || !elevation)
        return false;
    phi = std::fmod(*azimuth, 360.0);
    theta = *elevation;
    return true;
}

// AZIMUTH,ELEVATION,PATTERN[,WNG[,GAIN_DB]]. The beamformer steers by whole degrees (its
// steering tables hold one direction per degree), so fractional angles are rounded to
// the nearest, and `rounded` tells: a computed direction then still gives the closest
// beam, where a refusal would make every script round its angles itself.
bool parseBeam(const QString& text, CBeamTrackRecord& beam, bool& rounded, QString& error)
{
    const QStringList fields = text.split(',');
    error = QStringLiteral("bad --beam \"%1\": expected AZIMUTH,ELEVATION,PATTERN[,WNG[,GAIN_DB]] with azimuth "
                           "0..360, elevation 0..180, gain -60..20 dB")
                .arg(text);
    double phi = 0.0, theta = 0.0;
    if (fields.size() < 3 || fields.size() > 5 || !parseDirection(fields, phi, theta))
        return false;
    beam.phi = int(std::lround(phi)) % 360;
    beam.theta = int(std::lround(theta));
    rounded = phi != std::round(phi) || theta != std::round(theta);
    beam.pattern = fields[2].trimmed();
    beam.parameter = fields.value(3).trimmed();
    if (beam.pattern.isEmpty() || (fields.size() > 3 && !integerIn(beam.parameter, -1000, 1000)))
        return false;
    const auto gain = fields.size() > 4 ? numberIn(fields[4], -60.0, 20.0) : std::optional<double>(0.0);
    if (!gain)
        return false;
    beam.volume = float(*gain);
    return true;
}

bool parseKind(const QString& text, CSceneSourceRequest& source)
{
    static const QList<QPair<QString, CSceneSignal::Kind>> kinds{
        {"melody", CSceneSignal::Kind::Melody}, {"percussion", CSceneSignal::Kind::Percussion},
        {"warble", CSceneSignal::Kind::Warble}, {"noise", CSceneSignal::Kind::Noise}};
    for (const auto& [name, kind] : kinds)
        if (text == name) {
            source.kind = kind;
            return true;
        }
    if (!text.startsWith(QLatin1String("sine:")))
        return false;
    const auto frequency = numberIn(text.mid(5), 1.0, 20000.0);
    source.kind = CSceneSignal::Kind::Sine;
    source.frequency = frequency.value_or(0.0);
    return frequency.has_value();
}

// AZIMUTH,ELEVATION,KIND[,LEVEL_DB]
bool parseSource(const QString& text, CSceneSourceRequest& source, QString& error)
{
    const QStringList fields = text.split(',');
    error = QStringLiteral("bad --source \"%1\": expected AZIMUTH,ELEVATION,KIND[,LEVEL_DB] with KIND one of %2 "
                           "and a level of -100..0 dB")
                .arg(text, kKinds);
    if (fields.size() < 3 || fields.size() > 4 || !parseDirection(fields, source.phi, source.theta))
        return false;
    if (!parseKind(fields[2].trimmed(), source))
        return false;
    const auto level = fields.size() > 3 ? numberIn(fields[3], -100.0, 0.0) : std::optional<double>(-12.0);
    source.levelDb = float(level.value_or(0.0));
    return level.has_value();
}

// YAW,PITCH,ROLL: three finite angles in degrees.
bool parseAngles(const QCommandLineParser& parser, const char* name, CRenderAngles& angles, QString& error)
{
    if (!parser.isSet(name))
        return true;
    const QString text = parser.value(name);
    const QStringList fields = text.split(',');
    std::optional<double> value[3];
    for (int i = 0; i < 3 && fields.size() == 3; ++i)
        value[i] = numberIn(fields[i], -360.0, 360.0);
    if (!value[0] || !value[1] || !value[2]) {
        error = QStringLiteral("bad --%1 \"%2\": expected YAW,PITCH,ROLL, three angles of -360..360 degrees")
                    .arg(QLatin1String(name), text);
        return false;
    }
    angles = {float(*value[0]), float(*value[1]), float(*value[2])};
    return true;
}

bool parseAmbisonics(const QCommandLineParser& parser, CRenderOptions& options, QString& error)
{
    const auto order = integerIn(parser.value("ambi-order"), 1, kAmbiMaxOrder);
    if (!order) {
        error = QStringLiteral("bad --ambi-order \"%1\": give 1, 2 or 3").arg(parser.value("ambi-order"));
        return false;
    }
    options.ambiOrder = *order;
    const QString norm = parser.value("ambi-norm").trimmed().toLower();
    if (norm != QLatin1String("sn3d") && norm != QLatin1String("n3d")) {
        error = QStringLiteral("bad --ambi-norm \"%1\": give sn3d or n3d").arg(parser.value("ambi-norm"));
        return false;
    }
    options.ambiNorm = norm == QLatin1String("n3d") ? AmbiNorm::kN3d : AmbiNorm::kSn3d;
    return parseAngles(parser, "orientation", options.mounting, error)
        && parseAngles(parser, "head", options.head, error);
}

// Options that shape an output nobody asked for are a mistake worth telling.
bool checkAmbisonicsOptions(const QCommandLineParser& parser, const CRenderOptions& options, QString& error)
{
    const auto needs = [&](const char* option, bool given, const char* what) {
        if (parser.isSet(option) && !given) {
            error = QStringLiteral("--%1 needs %2").arg(QLatin1String(option), QLatin1String(what));
            return false;
        }
        return true;
    };
    const bool ambix = !options.ambixOutput.isEmpty();
    const bool ears = !options.binauralOutput.isEmpty();
    return needs("ambi-order", ambix, "--ambix FILE") && needs("ambi-norm", ambix, "--ambix FILE")
        && needs("orientation", ambix || ears, "--ambix FILE or --binaural FILE")
        && needs("hrtf", ears, "--binaural FILE") && needs("head", ears, "--binaural FILE");
}

bool parseBeams(const QCommandLineParser& parser, CRenderOptions& options, QString& error)
{
    for (const QString& text : parser.values("beam")) {
        CBeamTrackRecord beam;
        bool rounded = false;
        if (!parseBeam(text, beam, rounded, error))
            return false;
        if (rounded && options.notes.isEmpty())
            options.notes.append(QStringLiteral("note: beams steer by whole degrees, so fractional beam angles are "
                                                "rounded (--beam %1 steers to %2,%3)")
                                     .arg(text)
                                     .arg(beam.phi)
                                     .arg(beam.theta));
        options.beams.append(beam);
    }
    return true;
}

bool parseValues(const QCommandLineParser& parser, CRenderOptions& options, QString& error)
{
    if (!parseBeams(parser, options, error))
        return false;
    for (const QString& text : parser.values("source")) {
        CSceneSourceRequest source;
        if (!parseSource(text, source, error))
            return false;
        options.sources.append(source);
    }
    const auto duration = numberIn(parser.value("duration"), 0.001, 24.0 * 3600.0);
    const auto rate = integerIn(parser.value("rate"), CAudioGraph::kMinSampleRate, CAudioGraph::kMaxSampleRate);
    const auto block = integerIn(parser.value("block"), 1, 8192);
    const auto grid = integerIn(parser.value("map-grid"), SoundMapGrid::kMinStep, SoundMapGrid::kMaxStep);
    if (!grid || !SoundMapGrid::validStep(*grid)) {
        error = QStringLiteral("bad --map-grid \"%1\": give 1, 2, 3, 4 or 5 degrees").arg(parser.value("map-grid"));
        return false;
    }
    options.mapGrid = *grid;
    if (!duration || !rate || !block) {
        error = !duration ? QStringLiteral("bad --duration: give seconds, more than 0 and at most 86400")
              : !rate     ? QStringLiteral("bad --rate \"%1\": the signal path runs at %2 to %3 Hz")
                                .arg(parser.value("rate"))
                                .arg(CAudioGraph::kMinSampleRate)
                                .arg(CAudioGraph::kMaxSampleRate)
                          : QStringLiteral("bad --block: give a block length of 1 to 8192 frames");
        return false;
    }
    options.duration = *duration;
    options.sampleRate = *rate;
    options.blockLength = *block;
    return parseAmbisonics(parser, options, error);
}

// What must and must not go together.
bool checkCombination(const CRenderOptions& options, QString& error)
{
    if (options.scene == !options.inputFile.isEmpty())
        error = options.scene ? QStringLiteral("give either an input wave file or --scene/--source, not both")
                              : QStringLiteral("no input: give a wave file, or --scene to render the default scene");
    else if (options.output.isEmpty() && !options.wantsAmbisonics())
        error = QStringLiteral("no output: give --output FILE.wav for the beams, --ambix FILE.wav or --binaural FILE.wav");
    else if (options.output.isEmpty() && (!options.beams.isEmpty() || !options.beamFile.isEmpty()))
        error = QStringLiteral("beams need --output FILE.wav to go to");
    else if (!options.beams.isEmpty() && !options.beamFile.isEmpty())
        error = QStringLiteral("give beams either with --beam or with --beams FILE.vts, not both");
    else if (options.beams.size() > CRenderOptions::kMaxBeams)
        error = QStringLiteral("too many beams: at most %1").arg(CRenderOptions::kMaxBeams);
    else if (!options.arrayOutput.isEmpty() && !options.scene)
        error = QStringLiteral("--array-output needs a rendered scene (--scene or --source)");
    else
        return true;
    return false;
}

// Each output against the inputs and the outputs before it: writing one over another
// would destroy a recording or lose a result.
bool checkDistinctFiles(const CRenderOptions& options, QString& error)
{
    struct Named {
        QString what;
        QString name;
    };
    const QList<Named> inputs{{QStringLiteral("the input"), options.inputFile},
                              {QStringLiteral("the beam settings"), options.beamFile},
                              {QStringLiteral("the HRTF set"), options.binauralOutput.isEmpty() ? QString() : options.hrtfFile}};
    const QList<Named> outputs{{QStringLiteral("--output"), options.output},
                               {QStringLiteral("--array-output"), options.arrayOutput},
                               {QStringLiteral("--map"), options.mapFile},
                               {QStringLiteral("--ambix"), options.ambixOutput},
                               {QStringLiteral("--binaural"), options.binauralOutput}};
    QList<Named> taken;
    for (const Named& input : inputs)
        if (!input.name.isEmpty())
            taken.append(input);
    for (const Named& output : outputs) {
        if (output.name.isEmpty())
            continue;
        const CFileIdentity identity(output.name);
        for (const Named& other : taken)
            if (CFileIdentity(other.name) == identity) {
                error = QStringLiteral("%1 %2 is the same file as %3 %4: give another output name")
                            .arg(output.what, output.name, other.what, other.name);
                return false;
            }
        taken.append(output);
    }
    return true;
}

} // namespace

bool CRenderOptions::parse(const QStringList& arguments, CRenderOptions& options, QString& error)
{
    options = CRenderOptions();
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addOptions({
        {{"h", "help"}, ""},
        {"version", ""},
        {"scene", ""},
        {"source", "", "source"},
        {"duration", "", "seconds", "10"},
        {"rate", "", "hz", "44100"},
        {{"b", "beam"}, "", "beam"},
        {"beams", "", "file"},
        {{"o", "output"}, "", "file"},
        {"array-output", "", "file"},
        {"float", ""},
        {"block", "", "frames", "512"},
        {"map", "", "file"},
        {"map-peaks", ""},
        {"map-grid", "", "degrees", "5"},
        {"map-music", ""},
        {"ambix", "", "file"},
        {"ambi-order", "", "order", "3"},
        {"ambi-norm", "", "norm", "sn3d"},
        {"orientation", "", "angles"},
        {"binaural", "", "file"},
        {"hrtf", "", "file", QString::fromLatin1(CRenderOptions::kDefaultHrtf)},
        {"head", "", "angles"},
        {{"q", "quiet"}, ""},
    });
    if (!parser.parse(arguments)) {
        error = parser.errorText() + QStringLiteral(" (see --help)");
        return false;
    }
    options.help = parser.isSet("help");
    options.version = parser.isSet("version");
    if (options.help || options.version)
        return true;
    const QStringList positional = parser.positionalArguments();
    if (positional.size() > 1) {
        error = QStringLiteral("more than one input file: %1").arg(positional.join(' '));
        return false;
    }
    options.inputFile = positional.value(0);
    options.scene = parser.isSet("scene") || parser.isSet("source");
    options.beamFile = parser.value("beams");
    options.output = parser.value("output");
    options.arrayOutput = parser.value("array-output");
    options.floatOutput = parser.isSet("float");
    options.quiet = parser.isSet("quiet");
    options.mapFile = parser.value("map");
    options.mapPeaks = parser.isSet("map-peaks");
    options.mapMusic = parser.isSet("map-music");
    options.ambixOutput = parser.value("ambix");
    options.binauralOutput = parser.value("binaural");
    options.hrtfFile = parser.value("hrtf");
    return parseValues(parser, options, error) && checkAmbisonicsOptions(parser, options, error)
        && checkCombination(options, error) && checkDistinctFiles(options, error);
}

QString CRenderOptions::helpText()
{
    return QStringLiteral(R"(Usage: vantoria-render [options] INPUT --output BEAMS.wav
       vantoria-render [options] --scene --output BEAMS.wav
       vantoria-render [options] INPUT --ambix SCENE.wav --binaural EARS.wav

Forms beams from the recording of a 32-capsule spherical microphone array, or from a
modelled sound scene, with the same signal path as the application, and writes one
channel per beam into a wave file; and/or writes the sound field as AmbiX and as a
binaural stereo file for headphones. It runs as fast as the machine allows.

Input (one of):
  INPUT                      a recording in any format libsndfile reads: WAV, RF64, W64,
                             AIFF, CAF, FLAC and more. 32 channels are the array's
                             capsules and are beamformed; a file of any other channel
                             count is copied straight through (at most 18 channels), as
                             the application plays it, and takes no beams. A wave file
                             whose header promises more or less than it holds (a take
                             that a crash left unfinished) is read up to its last whole
                             frame, with a warning that gives both lengths.
  --scene                    render the default scene: a tune from azimuth 30,
                             elevation 90; percussion from 150, 60; chirps from 270, 120.
  --source AZ,EL,KIND[,DB]   render a scene of your own instead; repeat for more sources.
                             KIND is melody, percussion, warble, noise or sine:HZ; DB is
                             its level in dB full scale, -12 by default. The angles may
                             have decimals.
  --duration SECONDS         length of a rendered scene, rounded up to whole blocks
                             (default 10).
  --rate HZ                  sample rate of a rendered scene (default 44100; 39690 to
                             48510 Hz are accepted).

Beams (one of, up to 18 beams):
  --beam AZ,EL,PATTERN[,WNG[,GAIN]]
                             one beam; repeat the option for more. AZ is the azimuth
                             0..360 degrees, EL the elevation 0..180 (90 is the equator,
                             0 the array's top), PATTERN one of omni, super3, super2,
                             super1, hyper3, hyper2, hyper1, card3, card2, card1, dipole1,
                             torus. WNG is the pattern's "WNG" value (-12, -6, 0, 6 or 12
                             where the pattern has one; default 0), GAIN the beam's gain
                             in dB (default 0). Beams steer by whole degrees: angles with
                             decimals are rounded to the nearest, and a note says so.
  --beams FILE.vts           the beams of a beam settings file saved by the application
                             (muted tracks stay silent).
  Beams need the 32 capsule channels: an input of another channel count with --beam or
  --beams is refused.

Output:
  -o, --output FILE.wav      the beams, one channel per beam, 24-bit (RF64 beyond 4 GiB).
  --float                    write the beams as 32-bit floats instead.
  --array-output FILE.wav    also write the 32 capsule signals of a rendered scene,
                             calibrated, as the application records them (24-bit).
  At least one of --output, --ambix and --binaural is needed.
  Files are written under a temporary name and appear only when complete. An output
  that is the same file as an input or as another output (under any name: a path, a
  symbolic link, a hard link) is refused before anything is written.

Ambisonics and binaural (need the 32 capsule channels; alone or beside the beams):
  --ambix FILE.wav           the sound field as AmbiX: ACN channel order, SN3D, no
                             Condon-Shortley phase; 24-bit, or 32-bit float with --float.
  --ambi-order N             order 1, 2 or 3: 4, 9 or 16 channels (default 3).
  --ambi-norm sn3d|n3d       normalisation of the AmbiX channels (default sn3d).
  --orientation YAW,PITCH,ROLL
                             how the array is mounted, in degrees (-360..360): yaw > 0
                             turns its front (azimuth 0) to the left, pitch > 0 tilts it
                             up, roll > 0 lifts its left side; 0,0,180 is upside down.
                             Applies to --ambix and --binaural (default 0,0,0).
  --binaural FILE.wav        the scene for headphones: left and right ear, decoded from
                             the third-order field, 128 samples later than the AmbiX
                             channels.
  --hrtf FILE.sofa           the head-related responses of the binaural decoder (default
                             /usr/share/libmysofa/default.sofa, a KEMAR set).
  --head YAW,PITCH,ROLL      the listener's head, in degrees: yaw > 0 turns it to the
                             left, so a source ahead is heard to the right (default 0,0,0).

Sound map (where sound comes from, over the whole input; needs the 32 capsule channels):
  --map FILE.png             the map as a picture: azimuth 0..360 from left to right,
                             elevation 0..180 from top to bottom, 30 dB of colour below
                             the loudest direction, the peaks ringed.
  --map-peaks                print the sources the map finds, to a tenth of a degree
                             (at most 8, within 30 dB; side lobes left out).
  --map-grid DEGREES         spacing of the map's directions: 1, 2, 3, 4 or 5 (default 5).
  --map-music                the sharper subspace estimate (MUSIC) instead of the power
                             of an order-3 maximum-directivity beam.

Other:
  --block FRAMES             frames per processing block (default 512).
  -q, --quiet                no progress bar and no summary.
  -h, --help                 this text.
  --version                  the program's version.

Examples:
  vantoria-render --scene --beam 30,90,card3 --beam 150,60,hyper3 -o beams.wav
  vantoria-render take.wav --beams stage.vts --float -o take-beams.wav
  vantoria-render --scene --beam 30,90,omni -o beams.wav --map map.png --map-peaks
  vantoria-render take.wav --ambix take-ambix.wav --ambi-order 3 --orientation 0,0,180
  vantoria-render take.wav --binaural take-ears.wav --head 30,0,0

Exit status: 0 on success (warnings and notes go to the error stream); 1 when an input
cannot be read, an output cannot be written or rendering failed; 2 for a command line it
cannot use: an unknown option, pattern or "WNG" value, a value out of range, beams,
--ambix or --binaural for an input without the 32 capsule channels, a SOFA file that is
refused, an output that is an input or another output.
)");
}
