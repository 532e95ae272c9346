#include "tests/binaural/SofaFixture.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <sstream>

namespace {
const char* kHeader = R"(netcdf fixture {
dimensions:
	I = 1 ;
	C = 3 ;
	R = %R% ;
	E = 1 ;
	N = %N% ;
	M = %M% ;
	S = UNLIMITED ;
variables:
	double ListenerPosition(I, C) ;
		ListenerPosition:Type = "cartesian" ;
		ListenerPosition:Units = "metre" ;
	double ReceiverPosition(R, C, I) ;
		ReceiverPosition:Type = "cartesian" ;
		ReceiverPosition:Units = "metre" ;
	double SourcePosition(M, C) ;
		SourcePosition:Type = "spherical" ;
		SourcePosition:Units = "degree, degree, metre" ;
	double EmitterPosition(E, C, I) ;
		EmitterPosition:Type = "cartesian" ;
		EmitterPosition:Units = "metre" ;
	double ListenerUp(I, C) ;
	double ListenerView(I, C) ;
		ListenerView:Type = "cartesian" ;
		ListenerView:Units = "metre" ;
	double Data.IR(M, R, N) ;
	double Data.SamplingRate(I) ;
		Data.SamplingRate:Units = "hertz" ;
	double Data.Delay(I, R) ;

		:Conventions = "SOFA" ;
		:Version = "1.0" ;
		:SOFAConventions = "SimpleFreeFieldHRIR" ;
		:SOFAConventionsVersion = "1.0" ;
		:APIName = "test fixture" ;
		:APIVersion = "1.0" ;
		:ApplicationName = "test fixture" ;
		:ApplicationVersion = "1.0" ;
		:AuthorContact = "" ;
		:Comment = "" ;
		:DataType = "FIR" ;
		:History = "" ;
		:License = "none" ;
		:Organization = "" ;
		:References = "" ;
		:RoomType = "free field" ;
		:Origin = "" ;
		:DateCreated = "2026-01-01 00:00:00" ;
		:DateModified = "2026-01-01 00:00:00" ;
		:Title = "" ;
		:DatabaseName = "test" ;
		:ListenerShortName = "pulse" ;
)";

std::string replaced(std::string text, const std::string& key, int value)
{
    const std::size_t at = text.find(key);
    return text.replace(at, key.size(), std::to_string(value));
}

template <typename F>
void list(std::ostream& out, int count, F value)
{
    for (int i = 0; i < count; ++i)
        out << (i ? "," : "") << value(i);
}
} // namespace

bool writeSofa(const std::string& path, const SofaFixture& f)
{
    std::ostringstream cdl;
    cdl << replaced(replaced(replaced(kHeader, "%R%", f.receivers), "%N%", f.length), "%M%", f.directions);
    cdl << "data:\n ListenerPosition = 0,0,0 ;\n ReceiverPosition = ";
    list(cdl, 3 * f.receivers, [](int i) { return i % 3 == 1 ? (i / 3 % 2 ? -0.09 : 0.09) : 0.0; });
    // Rings of twelve directions from -40 to 60 degrees of elevation.
    cdl << " ;\n SourcePosition = ";
    list(cdl, 3 * f.directions, [](int i) {
        const int m = i / 3;
        return i % 3 == 0 ? 30.0 * (m % 12) : i % 3 == 1 ? -40.0 + 10.0 * (m / 12 % 11) : 1.5;
    });
    cdl << " ;\n EmitterPosition = 0,0,0 ;\n ListenerUp = 0,0,1 ;\n ListenerView = 1,0,0 ;\n Data.IR = ";
    list(cdl, f.directions * f.receivers * f.length, [&f](int i) {
        const int t = i % f.length, receiver = i / f.length % f.receivers;
        const int offset = t - f.pulseCentre - 2 * receiver;
        return std::abs(offset) < 5 ? 0.5 + 0.5 * std::cos(std::numbers::pi * offset / 5.0) : 0.0;
    });
    cdl << " ;\n Data.SamplingRate = " << f.sampleRate << " ;\n Data.Delay = ";
    list(cdl, f.receivers, [](int) { return 0; });
    cdl << " ;\n}\n";

    const std::string text = path + ".cdl";
    std::ofstream(text) << cdl.str();
    const std::string command = "ncgen -k nc4 -o '" + path + "' '" + text + "'";
    return std::system(command.c_str()) == 0;
}
