// Writes the bundle's Turtle files from the same port layout and pattern library the
// plug-ins run on: writeTurtle DIR BINARY_NAME. Run by the build.

#include "binaural/CBinauralDecoder.h"
#include "plugins/lv2/CPatternChoices.h"
#include "plugins/lv2/vkLv2Ports.h"
#include "stages/vkHighpassSets.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

using namespace vk_lv2;

namespace {

const char* const kPrefixes = R"(@prefix atom: <http://lv2plug.in/ns/ext/atom#> .
@prefix bufsz: <http://lv2plug.in/ns/ext/buf-size#> .
@prefix doap: <http://usefulinc.com/ns/doap#> .
@prefix log: <http://lv2plug.in/ns/ext/log#> .
@prefix lv2: <http://lv2plug.in/ns/lv2core#> .
@prefix opts: <http://lv2plug.in/ns/ext/options#> .
@prefix patch: <http://lv2plug.in/ns/ext/patch#> .
@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .
@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .
@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .
@prefix rsz: <http://lv2plug.in/ns/ext/resize-port#> .
@prefix state: <http://lv2plug.in/ns/ext/state#> .
@prefix units: <http://lv2plug.in/ns/extensions/units#> .
@prefix urid: <http://lv2plug.in/ns/ext/urid#> .
@prefix work: <http://lv2plug.in/ns/ext/worker#> .

)";

const char* const kAcn[kAmbixChannels] = {"pg:ACN0",  "pg:ACN1",  "pg:ACN2",  "pg:ACN3", "pg:ACN4",  "pg:ACN5",
                                           "pg:ACN6",  "pg:ACN7",  "pg:ACN8",  "pg:ACN9", "pg:ACN10", "pg:ACN11",
                                           "pg:ACN12", "pg:ACN13", "pg:ACN14", "pg:ACN15"};

std::string uri(const char* base, const std::string& fragment = {})
{
    return "<" + std::string(base) + (fragment.empty() ? "" : "#" + fragment) + ">";
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

// One port: its classes, index, symbol, name, then any further statements.
class CPort {
public:
    CPort(std::ostringstream& out, const char* classes, int index, const std::string& symbol, const std::string& name)
        : mOut(out)
    {
        mOut << (index == 0 ? "\tlv2:port [\n" : " , [\n") << "\t\ta " << classes << " ;\n\t\tlv2:index " << index
             << " ;\n\t\tlv2:symbol " << quoted(symbol) << " ;\n\t\tlv2:name " << quoted(name);
    }
    ~CPort() { mOut << "\n\t]"; }
    CPort& add(const std::string& predicate, const std::string& object)
    {
        mOut << " ;\n\t\t" << predicate << " " << object;
        return *this;
    }
    CPort& range(double minimum, double maximum, double value)
    {
        return add("lv2:minimum", number(minimum)).add("lv2:maximum", number(maximum)).add("lv2:default", number(value));
    }
    CPort& scalePoint(const std::string& label, double value)
    {
        return add("lv2:scalePoint", "[ rdfs:label " + quoted(label) + " ; rdf:value " + number(value) + " ]");
    }

private:
    static std::string number(double v)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f", v);
        return text;
    }
    std::ostringstream& mOut;
};

void group(std::ostringstream& out, const char* plugin, const std::string& symbol, const char* classes,
           const std::string& label)
{
    out << uri(plugin, symbol) << "\n\ta " << classes << " ;\n\tlv2:symbol " << quoted(symbol)
        << " ;\n\trdfs:label " << quoted(label) << " .\n\n";
}

void latencyPort(std::ostringstream& out, int index, int typical)
{
    CPort(out, "lv2:OutputPort , lv2:ControlPort", index, "latency", "Latency")
        .add("lv2:designation", "lv2:latency")
        .add("lv2:portProperty", "lv2:reportsLatency , lv2:integer , pprops:notOnGUI")
        .add("units:unit", "units:frame")
        .range(0, 8192, typical);
}

void audioPorts(std::ostringstream& out, const char* plugin, bool input, int first, int count, const char* stem,
                const char* name, const std::string& groupSymbol, const char* const* designations = nullptr)
{
    for (int k = 0; k < count; ++k) {
        CPort port(out, input ? "lv2:InputPort , lv2:AudioPort" : "lv2:OutputPort , lv2:AudioPort", first + k,
                   designations ? std::string(stem) + std::to_string(k) : numbered(stem, k),
                   std::string(name) + " " + std::to_string(designations ? k : k + 1));
        port.add("pg:group", uri(plugin, groupSymbol));
        if (designations)
            port.add("lv2:designation", designations[k]);
    }
}

void orientationPorts(std::ostringstream& out, int first, const char* whose)
{
    const char* names[3] = {"yaw", "pitch", "roll"};
    for (int k = 0; k < 3; ++k)
        CPort(out, "lv2:InputPort , lv2:ControlPort", first + k, names[k], std::string(whose) + " " + names[k])
            .add("units:unit", "units:degree")
            .range(-kOrientationLimits[std::size_t(k)], kOrientationLimits[std::size_t(k)], 0);
}

std::string pluginHead(const char* plugin, const char* name, const char* comment, const char* classes)
{
    std::ostringstream head;
    head << uri(plugin) << "\n\ta lv2:Plugin , " << classes << " ;\n\tdoap:name " << quoted(name)
         << " ;\n\trdfs:comment " << quoted(comment) << " ;\n\tlv2:project " << uri(kBundleUri)
         << " ;\n";
    return head.str();
}

std::string beamformerTurtle(int block)
{
    namespace bf = vk_lv2::beamformer;
    const char* p = kBeamformerUri;
    const CPatternChoices choices;
    std::ostringstream out;
    out << kPrefixes;
    group(out, p, "capsules", "pg:InputGroup", "Capsules");
    group(out, p, "beams", "pg:OutputGroup", "Beams");
    for (int b = 0; b < bf::kBeams; ++b)
        group(out, p, numbered("beam", b), "pg:Group", "Beam " + std::to_string(b + 1));
    out << pluginHead(p, "Vantoria Beamformer",
                      "Up to 18 steerable beams from the 32 capsules of a spherical microphone array.",
                      "lv2:SpatialPlugin")
        << "\tlv2:optionalFeature lv2:hardRTCapable , work:schedule , log:log , urid:map , opts:options , "
           "bufsz:boundedBlockLength ;\n"
        << "\tlv2:extensionData work:interface ;\n\topts:supportedOption bufsz:nominalBlockLength ;\n";
    audioPorts(out, p, true, bf::kFirstInput, kCapsules, "capsule", "Capsule", "capsules");
    audioPorts(out, p, false, bf::kFirstOutput, bf::kBeams, "beam", "Beam", "beams");
    latencyPort(out, bf::kLatency, block);
    {
        CPort highpass(out, "lv2:InputPort , lv2:ControlPort", bf::kHighpass, "highpass", "High-pass");
        highpass.add("lv2:portProperty", "lv2:integer , lv2:enumeration").range(0, vkHighpassSetCount - 1, 0);
        for (int k = 0; k < vkHighpassSetCount; ++k)
            highpass.scalePoint(k == 0 ? std::string("Off") : std::to_string(vkHighpassCorners[k]) + " Hz", k);
    }
    const std::vector<int>& wng = choices.wngValues();
    for (int b = 0; b < bf::kBeams; ++b) {
        const std::string n = std::to_string(b + 1);
        const std::string beamGroup = uri(p, numbered("beam", b));
        const auto control = [&](int which, const char* stem, const std::string& name) {
            return CPort(out, "lv2:InputPort , lv2:ControlPort", bf::beamControl(b, which), numbered(stem, b), name);
        };
        control(bf::kAzimuth, "azimuth", "Beam " + n + " azimuth")
            .add("pg:group", beamGroup)
            .add("units:unit", "units:degree")
            .range(0, bf::kMaxAzimuth, b * bf::kDefaultAzimuthStep);
        control(bf::kPolar, "polar", "Beam " + n + " polar angle")
            .add("pg:group", beamGroup)
            .add("units:unit", "units:degree")
            .range(0, bf::kMaxPolar, bf::kDefaultPolar);
        {
            CPort pattern = control(bf::kPattern, "pattern", "Beam " + n + " pattern");
            pattern.add("pg:group", beamGroup)
                .add("lv2:portProperty", "lv2:integer , lv2:enumeration")
                .range(0, choices.patternCount() - 1, 0);
            for (int k = 0; k < choices.patternCount(); ++k)
                pattern.scalePoint(choices.name(k), k);
        }
        {
            CPort w = control(bf::kWng, "wng", "Beam " + n + " WNG");
            w.add("pg:group", beamGroup)
                .add("lv2:portProperty", "lv2:integer , lv2:enumeration")
                .add("units:unit", "units:db")
                .range(wng.front(), wng.back(), choices.defaultWng());
            for (int v : wng)
                w.scalePoint(std::to_string(v) + " dB", v);
        }
        control(bf::kGain, "gain", "Beam " + n + " gain")
            .add("pg:group", beamGroup)
            .add("units:unit", "units:db")
            .range(bf::kMinGainDb, bf::kMaxGainDb, 0);
        control(bf::kMute, "mute", "Beam " + n + " mute")
            .add("pg:group", beamGroup)
            .add("lv2:portProperty", "lv2:toggled")
            .range(0, 1, 0);
    }
    out << " .\n";
    return out.str();
}

std::string binauralTurtle()
{
    namespace bi = vk_lv2::binaural;
    const char* p = kBinauralUri;
    static const char* const ears[kEars] = {"pg:left", "pg:right"};
    std::ostringstream out;
    out << kPrefixes;
    group(out, p, "ambix", "pg:InputGroup , pg:AmbisonicBH3P3Group", "AmbiX (ACN, SN3D)");
    group(out, p, "ears", "pg:OutputGroup , pg:StereoGroup", "Ears");
    out << uri(kSofaFileUri) << "\n\ta lv2:Parameter ;\n\trdfs:label \"SOFA file\" ;\n\trdfs:comment "
        << quoted(std::string("Head-related impulse responses; the default is ") + kDefaultSofaFile)
        << " ;\n\trdfs:range atom:Path .\n\n";
    out << pluginHead(p, "Vantoria Binaural Decoder",
                      "Third-order AmbiX to two ears through the head-related responses of a SOFA file, with head "
                      "rotation.",
                      "lv2:SpatialPlugin")
        << "\tlv2:optionalFeature lv2:hardRTCapable , work:schedule , log:log , urid:map , opts:options , "
           "bufsz:boundedBlockLength , state:mapPath , state:freePath ;\n"
        << "\tlv2:extensionData work:interface , state:interface ;\n\topts:supportedOption bufsz:maxBlockLength ;\n"
        << "\tpatch:writable " << uri(kSofaFileUri) << " ;\n";
    const auto ear = [](int k) { return k == 0 ? std::string("left") : std::string("right"); };
    for (int k = 0; k < kAmbixChannels; ++k)
        CPort(out, "lv2:InputPort , lv2:AudioPort", bi::kFirstInput + k, "acn_" + std::to_string(k), "ACN " + std::to_string(k))
            .add("pg:group", uri(p, "ambix"))
            .add("lv2:designation", kAcn[k]);
    for (int k = 0; k < kEars; ++k)
        CPort(out, "lv2:OutputPort , lv2:AudioPort", bi::kFirstOutput + k, ear(k), k == 0 ? "Left ear" : "Right ear")
            .add("pg:group", uri(p, "ears"))
            .add("lv2:designation", ears[k]);
    latencyPort(out, bi::kLatency, CBinauralDecoder::kPartition);
    orientationPorts(out, bi::kYaw, "Head");
    for (int k : {int(bi::kControl), int(bi::kNotify)})
        CPort(out, k == bi::kControl ? "lv2:InputPort , atom:AtomPort" : "lv2:OutputPort , atom:AtomPort", k,
              k == bi::kControl ? "control" : "notify", k == bi::kControl ? "Control" : "Notify")
            .add("atom:bufferType", "atom:Sequence")
            .add("atom:supports", "patch:Message")
            .add("lv2:designation", "lv2:control")
            .add("lv2:portProperty", "lv2:connectionOptional")
            .add("rsz:minimumSize", "8192");
    out << " .\n";
    return out.str();
}

std::string encoderTurtle(int block)
{
    namespace en = vk_lv2::encoder;
    const char* p = kEncoderUri;
    std::ostringstream out;
    out << kPrefixes;
    group(out, p, "capsules", "pg:InputGroup", "Capsules");
    group(out, p, "ambix", "pg:OutputGroup , pg:AmbisonicBH3P3Group", "AmbiX (ACN, SN3D)");
    out << pluginHead(p, "Vantoria Ambisonics Encoder",
                      "Third-order AmbiX (ACN, SN3D) from the 32 capsules of a spherical microphone array, turned "
                      "by the array's mounting.",
                      "lv2:SpatialPlugin")
        << "\tlv2:optionalFeature lv2:hardRTCapable , work:schedule , log:log , urid:map , opts:options , "
           "bufsz:boundedBlockLength ;\n"
        << "\tlv2:extensionData work:interface ;\n\topts:supportedOption bufsz:nominalBlockLength ;\n";
    audioPorts(out, p, true, en::kFirstInput, kCapsules, "capsule", "Capsule", "capsules");
    for (int k = 0; k < kAmbixChannels; ++k)
        CPort(out, "lv2:OutputPort , lv2:AudioPort", en::kFirstOutput + k, "acn_" + std::to_string(k),
              "ACN " + std::to_string(k))
            .add("pg:group", uri(p, "ambix"))
            .add("lv2:designation", kAcn[k]);
    latencyPort(out, en::kLatency, block);
    orientationPorts(out, en::kYaw, "Mounting");
    out << " .\n";
    return out.str();
}

std::string manifest(const std::string& binary)
{
    std::ostringstream out;
    out << kPrefixes << uri(kBundleUri) << "\n\ta doap:Project ;\n\tdoap:name \"Vantoria\" .\n\n";
    const char* plugins[][2] = {{kBeamformerUri, "beamformer.ttl"}, {kBinauralUri, "binaural.ttl"}, {kEncoderUri, "encoder.ttl"}};
    for (const auto& plugin : plugins)
        out << uri(plugin[0]) << "\n\ta lv2:Plugin ;\n\tlv2:binary <" << binary << "> ;\n\trdfs:seeAlso <" << plugin[1]
            << "> .\n\n";
    return out.str();
}

bool save(const std::string& path, const std::string& text)
{
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file)
        std::fprintf(stderr, "writeTurtle: cannot write %s\n", path.c_str());
    return bool(file);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: writeTurtle DIR BINARY_NAME\n");
        return 2;
    }
    const std::string dir = argv[1];
    const int block = kDefaultBlock;
    const bool ok = save(dir + "/manifest.ttl", manifest(argv[2])) && save(dir + "/beamformer.ttl", beamformerTurtle(block))
                    && save(dir + "/binaural.ttl", binauralTurtle()) && save(dir + "/encoder.ttl", encoderTurtle(block));
    return ok ? 0 : 1;
}
