// What the parser makes of each message, built the way a sender builds it (lo_message),
// including the ways senders get it wrong.
#include "remote/COscParser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {
const std::vector<std::string> kPatterns = {"omni", "super3", "card1", "torus"};
constexpr int kMaxBeams = 18;

using Message = std::unique_ptr<std::remove_pointer_t<lo_message>, decltype(&lo_message_free)>;

Message message() { return Message(lo_message_new(), &lo_message_free); }

bool parse(const COscParser& parser, const char* path, const Message& m, CRemoteCommand& out)
{
    return parser.parse(path, lo_message_get_types(m.get()), lo_message_get_argv(m.get()),
                        lo_message_get_argc(m.get()), out);
}

Message floats(std::initializer_list<float> values)
{
    Message m = message();
    for (float v : values)
        lo_message_add_float(m.get(), v);
    return m;
}
} // namespace

TEST(OscParser, HeadAnglesComeAsFloatsIntsOrDoubles)
{
    const COscParser parser(kPatterns, kMaxBeams);
    CRemoteCommand c;
    ASSERT_TRUE(parse(parser, "/vantoria/ypr", floats({30.0f, -10.5f, 5.0f}), c));
    EXPECT_EQ(c.kind, CRemoteCommand::Kind::head);
    EXPECT_FLOAT_EQ(c.a, 30.0f);
    EXPECT_FLOAT_EQ(c.b, -10.5f);
    EXPECT_FLOAT_EQ(c.c, 5.0f);

    Message mixed = message();
    lo_message_add_int32(mixed.get(), -90);
    lo_message_add_double(mixed.get(), 12.25);
    lo_message_add_int64(mixed.get(), 7);
    ASSERT_TRUE(parse(parser, "/vantoria/ypr", mixed, c));
    EXPECT_FLOAT_EQ(c.a, -90.0f);
    EXPECT_FLOAT_EQ(c.b, 12.25f);
    EXPECT_FLOAT_EQ(c.c, 7.0f);
}

TEST(OscParser, RefusesWrongCountsTypesAndValuesThatAreNotFinite)
{
    const COscParser parser(kPatterns, kMaxBeams);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    CRemoteCommand c;
    EXPECT_FALSE(parse(parser, "/vantoria/ypr", floats({1.0f, 2.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/ypr", floats({1.0f, 2.0f, 3.0f, 4.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/ypr", floats({nan, 0.0f, 0.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/ypr", floats({0.0f, inf, 0.0f}), c));
    Message huge = message();
    lo_message_add_double(huge.get(), 1e300);
    lo_message_add_float(huge.get(), 0.0f);
    lo_message_add_float(huge.get(), 0.0f);
    EXPECT_FALSE(parse(parser, "/vantoria/ypr", huge, c));
    Message text = message();
    lo_message_add_string(text.get(), "30");
    lo_message_add_float(text.get(), 0.0f);
    lo_message_add_float(text.get(), 0.0f);
    EXPECT_FALSE(parse(parser, "/vantoria/ypr", text, c));
    EXPECT_FALSE(parse(parser, "/vantoria/YPR", floats({1.0f, 2.0f, 3.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/ypr/", floats({1.0f, 2.0f, 3.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/quaternion", floats({0.0f, 0.0f, 0.0f, 0.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/quaternion", floats({1.0f, 0.0f, nan, 0.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/quaternion", floats({1.0f, 0.0f, 0.0f}), c));
}

TEST(OscParser, QuaternionBecomesTheHeadsAngles)
{
    const COscParser parser(kPatterns, kMaxBeams);
    CRemoteCommand c;
    // A turn of 40 degrees to the left about the vertical axis, not normalised.
    const float half = 20.0f * static_cast<float>(M_PI) / 180.0f;
    ASSERT_TRUE(parse(parser, "/vantoria/quaternion", floats({3.0f * std::cos(half), 0.0f, 0.0f, 3.0f * std::sin(half)}), c));
    EXPECT_EQ(c.kind, CRemoteCommand::Kind::head);
    EXPECT_NEAR(c.a, 40.0f, 1e-4f);
    EXPECT_NEAR(c.b, 0.0f, 1e-4f);
    EXPECT_NEAR(c.c, 0.0f, 1e-4f);
}

TEST(OscParser, BeamDirectionAddressesBeamsFromOneUpToTheCount)
{
    COscParser parser(kPatterns, kMaxBeams);
    CRemoteCommand c;
    ASSERT_TRUE(parse(parser, "/vantoria/beam/1/aed", floats({45.0f, -20.0f, 2.0f}), c));
    EXPECT_EQ(c.kind, CRemoteCommand::Kind::beamDirection);
    EXPECT_EQ(c.beam, 0);
    EXPECT_FLOAT_EQ(c.a, 45.0f);
    EXPECT_FLOAT_EQ(c.b, -20.0f);
    EXPECT_FLOAT_EQ(c.c, 2.0f);
    ASSERT_TRUE(parse(parser, "/vantoria/beam/18/aed", floats({0.0f, 90.0f, 0.0f}), c));
    EXPECT_EQ(c.beam, 17);

    for (const char* path : {"/vantoria/beam/0/aed", "/vantoria/beam/19/aed", "/vantoria/beam//aed",
                             "/vantoria/beam/-1/aed", "/vantoria/beam/1x/aed", "/vantoria/beam/0001/aed",
                             "/vantoria/beam/1/aed/", "/vantoria/beam/1/ae", "/vantoria/beam/1"})
        EXPECT_FALSE(parse(parser, path, floats({0.0f, 0.0f, 1.0f}), c)) << path;
    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/aed", floats({0.0f, 90.5f, 1.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/aed", floats({0.0f, 0.0f, -1.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/aed", floats({0.0f, 0.0f}), c));

    parser.setBeamCount(2);
    EXPECT_TRUE(parse(parser, "/vantoria/beam/2/aed", floats({0.0f, 0.0f, 1.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/beam/3/aed", floats({0.0f, 0.0f, 1.0f}), c));
    parser.setBeamCount(1000);
    EXPECT_TRUE(parse(parser, "/vantoria/beam/18/aed", floats({0.0f, 0.0f, 1.0f}), c));
    EXPECT_FALSE(parse(parser, "/vantoria/beam/19/aed", floats({0.0f, 0.0f, 1.0f}), c));
}

TEST(OscParser, PatternByIndexOrByNameWithoutCase)
{
    const COscParser parser(kPatterns, kMaxBeams);
    CRemoteCommand c;
    Message index = message();
    lo_message_add_int32(index.get(), 3);
    ASSERT_TRUE(parse(parser, "/vantoria/beam/2/pattern", index, c));
    EXPECT_EQ(c.kind, CRemoteCommand::Kind::beamPattern);
    EXPECT_EQ(c.beam, 1);
    EXPECT_EQ(c.pattern, 3);

    Message name = message();
    lo_message_add_string(name.get(), "Card1");
    ASSERT_TRUE(parse(parser, "/vantoria/beam/1/pattern", name, c));
    EXPECT_EQ(c.pattern, 2);
    ASSERT_TRUE(parse(parser, "/vantoria/beam/1/pattern", floats({1.0f}), c));
    EXPECT_EQ(c.pattern, 1);

    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/pattern", floats({1.5f}), c));
    Message outOfRange = message();
    lo_message_add_int32(outOfRange.get(), 4);
    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/pattern", outOfRange, c));
    Message negative = message();
    lo_message_add_int32(negative.get(), -1);
    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/pattern", negative, c));
    Message unknown = message();
    lo_message_add_string(unknown.get(), "card");
    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/pattern", unknown, c));
    Message two = message();
    lo_message_add_int32(two.get(), 1);
    lo_message_add_int32(two.get(), 1);
    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/pattern", two, c));
    EXPECT_FALSE(parse(parser, "/vantoria/beam/1/pattern", message(), c));
}
