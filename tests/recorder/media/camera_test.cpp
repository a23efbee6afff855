#include "recorder/media/Camera.h"

#include <gmock/gmock.h>

#include <string>

#include "recorder/scene/Mark.h"
#include "recorder/scene/Scene.h"

namespace
{

using namespace recorder;

constexpr int RATE = 25;

void Do(Camera& camera, const std::string& text)
{
    camera.Do(ParseCommand(text).value());
}

// The view after so many seconds with these commands given at picture 0.
View After(double seconds, std::initializer_list<const char*> commands)
{
    Camera camera(RATE);
    camera.At(0);
    for (const char* command : commands)
        Do(camera, command);
    return camera.At(static_cast<int64_t>(seconds * RATE));
}

TEST(CameraTest, AtRestNothingChanges)
{
    Camera camera(RATE);
    EXPECT_EQ(camera.At(0), View());
    EXPECT_EQ(camera.At(100), View());
    EXPECT_EQ(After(4, {"LeftStop:0", "ScanStop:0", "SetHue:0:128"}), View());
}

TEST(CameraTest, MotorsMoveWhileTheyRun)
{
    EXPECT_NEAR(After(2, {"RightStart:0"}).pan, 0.5, 1e-6);
    EXPECT_NEAR(After(2, {"LeftStart:0"}).pan, -0.5, 1e-6);
    EXPECT_NEAR(After(1, {"DownStart:0"}).tilt, 0.25, 1e-6);
    EXPECT_NEAR(After(1, {"UpStart:0"}).tilt, -0.25, 1e-6);
    EXPECT_NEAR(After(100, {"UpStart:0"}).tilt, -0.5, 1e-6) << "to its stop";
    EXPECT_NEAR(After(1, {"ZoomInStart:0"}).zoom, 2, 1e-6);
    EXPECT_NEAR(After(100, {"ZoomInStart:0"}).zoom, Camera::MOST_ZOOM, 1e-6);
    EXPECT_NEAR(After(1, {"ZoomOutStart:0"}).zoom, 1, 1e-6) << "nothing is wider than the whole";
    EXPECT_NEAR(After(1, {"FocusInStart:0"}).blur, 0.5, 1e-6);
    EXPECT_NEAR(After(1, {"FocusOutStart:0"}).blur, 0.5, 1e-6);
    EXPECT_NEAR(After(1, {"IrisOpenStart:0"}).iris, 0.5, 1e-6);
    EXPECT_NEAR(After(1, {"IrisCloseStart:0"}).iris, -0.5, 1e-6);
    EXPECT_NEAR(After(100, {"IrisOpenStart:0"}).iris, 1, 1e-6);
    EXPECT_NEAR(After(100, {"IrisCloseStart:0"}).iris, -1, 1e-6);
    EXPECT_TRUE(After(1, {"LightStart:0"}).light);
    EXPECT_FALSE(After(1, {"LightStart:0", "LightStop:0"}).light);
    EXPECT_GE(After(0.5, {"RainStart:0"}).wiper, 0.4);
    EXPECT_LT(After(0.5, {"RainStart:0", "RainStop:0"}).wiper, 0);
    EXPECT_NEAR(After(4, {"ScanStart:0"}).pan, 0.5, 1e-6) << "a quarter of its round";
    EXPECT_NEAR(After(12, {"ScanStart:0"}).pan, -0.5, 1e-6);
    EXPECT_NEAR(After(8, {"SoftScanStart:0"}).pan, 0.5, 1e-6) << "half as quick";
}

TEST(CameraTest, AMotorThatIsStoppedStaysWhereItIs)
{
    Camera camera(RATE);
    camera.At(0);
    Do(camera, "RightStart:0");
    camera.At(25);
    Do(camera, "RightStop:0");
    EXPECT_NEAR(camera.At(500).pan, 0.25, 1e-6);
    Do(camera, "LeftStart:0");
    EXPECT_NEAR(camera.At(525).pan, 0, 1e-6) << "and back";
}

TEST(CameraTest, WhatIsEnlargedMovesAsQuicklyAcrossThePicture)
{
    Camera camera(RATE);
    camera.At(0);
    Do(camera, "ZoomInStart:0");
    camera.At(25);
    Do(camera, "ZoomInStop:0");
    Do(camera, "RightStart:0");
    EXPECT_NEAR(camera.At(50).pan, 0.125, 1e-6);
}

TEST(CameraTest, AMotorMovesOnceForEachPicture)
{
    Camera camera(RATE);
    camera.At(0);
    Do(camera, "RightStart:0");
    EXPECT_NEAR(camera.At(25).pan, 0.25, 1e-6);
    EXPECT_NEAR(camera.At(20).pan, 0.25, 1e-6) << "whose thread is late";
    EXPECT_NEAR(camera.At(25).pan, 0.25, 1e-6);
}

TEST(CameraTest, EitherStopEndsAScan)
{
    for (const char* start : {"ScanStart:0", "SoftScanStart:0"})
        for (const char* stop : {"ScanStop:0", "SoftScanStop:0"})
            EXPECT_EQ(After(4, {start, stop}).pan, 0) << start << " " << stop;
    EXPECT_NEAR(After(4, {"ScanStart:0", "LeftStop:0"}).pan, 0.5, 1e-6) << "no other stop does";
}

TEST(CameraTest, ColoursAreSetAtOnceAndBounded)
{
    EXPECT_NEAR(After(0.04, {"SetBright:0:255"}).bright, 127 / 128.0, 1e-6);
    EXPECT_NEAR(After(0.04, {"SetContrast:0:0"}).contrast, -1, 1e-6);
    EXPECT_NEAR(After(0.04, {"SetHue:0:192"}).hue, 0.5, 1e-6);
    EXPECT_NEAR(After(0.04, {"SetSaturation:0:99999"}).saturation, 1, 1e-6);
    EXPECT_NEAR(After(0.04, {"SetSaturation:0:-2147483648"}).saturation, -1, 1e-6);
}

// What the pictures show.
class ViewTest : public testing::Test
{
  protected:
    static Picture Shown(const View& view)
    {
        SceneSetup setup;
        setup.width = 320;
        setup.height = 240;
        setup.mark = true;
        ScenePainter painter(setup, 1);
        painter.SetView(view);
        Picture picture;
        painter.Draw(10, picture);
        return picture;
    }
    // Of the middle, where neither name nor clock nor mark stands.
    struct ColourMeans {
        double luma = 0;
        double edges = 0;   // difference of neighbours
        double colour = 0;  // distance from grey
    };
    static ColourMeans Means(const Picture& picture)
    {
        ColourMeans means;
        int count = 0;
        for (int y = 60; y < 180; ++y)
            for (int x = 20; x < 300; ++x, ++count) {
                const auto at = static_cast<size_t>(y * 320 + x);
                means.luma += picture.y[at];
                means.edges += std::abs(picture.y[at] - picture.y[at + 1]);
                const auto chroma = static_cast<size_t>(y / 2 * 160 + x / 2);
                means.colour += std::abs(picture.u[chroma] - 128) + std::abs(picture.v[chroma] - 128);
            }
        return {means.luma / count, means.edges / count, means.colour / count};
    }
    static double Shift(const Picture& a, const Picture& b, int dx, int dy)
    {
        double difference = 0;
        for (int y = 80; y < 160; ++y)
            for (int x = 100; x < 200; ++x)
                difference += std::abs(a.y[static_cast<size_t>((y + dy) * 320 + x + dx)] -
                                       b.y[static_cast<size_t>(y * 320 + x)]);
        return difference / (80 * 100);
    }
};

TEST_F(ViewTest, NeutralIsTheSceneAsDrawn)
{
    SceneSetup setup;
    setup.width = 320;
    setup.height = 240;
    setup.mark = true;
    EXPECT_EQ(LumaPsnr(Shown({}), DrawScene(setup, 1, 10)), 100);
}

TEST_F(ViewTest, PanAndTiltShiftThePicture)
{
    const Picture plain = Shown({});
    View view;
    view.pan = 0.1;
    EXPECT_LT(Shift(plain, Shown(view), 32, 0), 1);
    EXPECT_GT(Shift(plain, Shown(view), 0, 0), 3);
    view = {};
    view.tilt = -0.1;
    EXPECT_LT(Shift(plain, Shown(view), 0, -24), 1);
    view = {};
    view.pan = 1.5;
    view.tilt = 0.5;
    EXPECT_TRUE(ReadMark(Shown(view))) << "what is laid over it stays, wherever the camera looks";
}

TEST_F(ViewTest, ZoomEnlargesTheMiddle)
{
    const Picture plain = Shown({});
    View view;
    view.zoom = 2;
    const Picture zoomed = Shown(view);
    double difference = 0;
    for (int y = 90; y < 150; ++y)
        for (int x = 120; x < 200; ++x)
            difference += std::abs(zoomed.y[static_cast<size_t>((2 * y - 120) * 320 + 2 * x - 160)] -
                                   plain.y[static_cast<size_t>(y * 320 + x)]);
    EXPECT_LT(difference / (60 * 80), 2);
}

TEST_F(ViewTest, FocusBlursIrisAndLightBrighten)
{
    const ColourMeans plain = Means(Shown({}));
    View view;
    view.blur = 1;
    EXPECT_LT(Means(Shown(view)).edges, plain.edges * 0.5);
    EXPECT_NEAR(Means(Shown(view)).luma, plain.luma, 4);
    view = {};
    view.iris = 0.5;
    EXPECT_GT(Means(Shown(view)).luma, plain.luma + 10);
    view.iris = -0.5;
    EXPECT_LT(Means(Shown(view)).luma, plain.luma - 10);
    view = {};
    view.light = true;
    EXPECT_GT(Means(Shown(view)).luma, plain.luma + 5);
    view = {};
    view.wiper = 0.5;
    EXPECT_GT(LumaPsnr(Shown(view), Shown({})), 10);
    EXPECT_LT(LumaPsnr(Shown(view), Shown({})), 40);
}

TEST_F(ViewTest, EachColourSettingChangesWhatItIsNamedFor)
{
    const ColourMeans plain = Means(Shown({}));
    View view;
    view.bright = 0.4;
    EXPECT_GT(Means(Shown(view)).luma, plain.luma + 20);
    view = {};
    view.contrast = -0.8;
    EXPECT_LT(Means(Shown(view)).edges, plain.edges * 0.75);
    view = {};
    view.saturation = -1;
    EXPECT_LT(Means(Shown(view)).colour, 2) << "grey";
    EXPECT_NEAR(Means(Shown(view)).luma, plain.luma, 2);
    view.saturation = 0.5;
    EXPECT_GT(Means(Shown(view)).colour, plain.colour * 1.3);
    view = {};
    view.hue = 0.5;
    EXPECT_NEAR(Means(Shown(view)).luma, plain.luma, 8);
    EXPECT_LT(LumaPsnr(Shown(view), Shown({})), 60);
    double moved = 0;
    const Picture turned = Shown(view);
    const Picture straight = Shown({});
    for (size_t i = 0; i < turned.u.size(); ++i)
        moved += std::abs(turned.u[i] - straight.u[i]);
    EXPECT_GT(moved / static_cast<double>(turned.u.size()), 3);
}

}  // namespace
