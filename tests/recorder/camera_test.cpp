#include "recorder/media/Camera.h"

#include <gmock/gmock.h>

#include <string>

#include "recorder/scene/Mark.h"
#include "recorder/scene/Scene.h"

namespace
{

using namespace recorder;

constexpr int RATE = 25;

void Do(CCamera& camera, const std::string& text)
{
    camera.Do(ParseCommand(text).value());
}

// The view after so many seconds with these commands given at picture 0.
XView After(double seconds, std::initializer_list<const char*> commands)
{
    CCamera camera(RATE);
    camera.At(0);
    for (const char* command : commands)
        Do(camera, command);
    return camera.At(static_cast<int64_t>(seconds * RATE));
}

TEST(CameraTest, AtRestNothingChanges)
{
    CCamera camera(RATE);
    EXPECT_EQ(camera.At(0), XView());
    EXPECT_EQ(camera.At(100), XView());
    EXPECT_EQ(After(4, {"LeftStop:0", "ScanStop:0", "SetHue:0:128"}), XView());
}

TEST(CameraTest, MotorsMoveWhileTheyRun)
{
    EXPECT_NEAR(After(2, {"RightStart:0"}).m_dPan, 0.5, 1e-6);
    EXPECT_NEAR(After(2, {"LeftStart:0"}).m_dPan, -0.5, 1e-6);
    EXPECT_NEAR(After(1, {"DownStart:0"}).m_dTilt, 0.25, 1e-6);
    EXPECT_NEAR(After(1, {"UpStart:0"}).m_dTilt, -0.25, 1e-6);
    EXPECT_NEAR(After(100, {"UpStart:0"}).m_dTilt, -0.5, 1e-6) << "to its stop";
    EXPECT_NEAR(After(1, {"ZoomInStart:0"}).m_dZoom, 2, 1e-6);
    EXPECT_NEAR(After(100, {"ZoomInStart:0"}).m_dZoom, CCamera::MOST_ZOOM, 1e-6);
    EXPECT_NEAR(After(1, {"ZoomOutStart:0"}).m_dZoom, 1, 1e-6) << "nothing is wider than the whole";
    EXPECT_NEAR(After(1, {"FocusInStart:0"}).m_dBlur, 0.5, 1e-6);
    EXPECT_NEAR(After(1, {"FocusOutStart:0"}).m_dBlur, 0.5, 1e-6);
    EXPECT_NEAR(After(1, {"IrisOpenStart:0"}).m_dIris, 0.5, 1e-6);
    EXPECT_NEAR(After(1, {"IrisCloseStart:0"}).m_dIris, -0.5, 1e-6);
    EXPECT_TRUE(After(1, {"LightStart:0"}).m_bLight);
    EXPECT_FALSE(After(1, {"LightStart:0", "LightStop:0"}).m_bLight);
    EXPECT_GE(After(0.5, {"RainStart:0"}).m_dWiper, 0.4);
    EXPECT_LT(After(0.5, {"RainStart:0", "RainStop:0"}).m_dWiper, 0);
    EXPECT_NEAR(After(4, {"ScanStart:0"}).m_dPan, 0.5, 1e-6) << "a quarter of its round";
    EXPECT_NEAR(After(12, {"ScanStart:0"}).m_dPan, -0.5, 1e-6);
    EXPECT_NEAR(After(8, {"SoftScanStart:0"}).m_dPan, 0.5, 1e-6) << "half as quick";
}

TEST(CameraTest, AMotorThatIsStoppedStaysWhereItIs)
{
    CCamera camera(RATE);
    camera.At(0);
    Do(camera, "RightStart:0");
    camera.At(25);
    Do(camera, "RightStop:0");
    EXPECT_NEAR(camera.At(500).m_dPan, 0.25, 1e-6);
    Do(camera, "LeftStart:0");
    EXPECT_NEAR(camera.At(525).m_dPan, 0, 1e-6) << "and back";
}

TEST(CameraTest, ColoursAreSetAtOnceAndBounded)
{
    EXPECT_NEAR(After(0.04, {"SetBright:0:255"}).m_dBright, 127 / 128.0, 1e-6);
    EXPECT_NEAR(After(0.04, {"SetContrast:0:0"}).m_dContrast, -1, 1e-6);
    EXPECT_NEAR(After(0.04, {"SetHue:0:192"}).m_dHue, 0.5, 1e-6);
    EXPECT_NEAR(After(0.04, {"SetSaturation:0:99999"}).m_dSaturation, 1, 1e-6);
    EXPECT_NEAR(After(0.04, {"SetSaturation:0:-2147483648"}).m_dSaturation, -1, 1e-6);
}

// What the pictures show.
class ViewTest : public testing::Test
{
  protected:
    static XPicture Shown(const XView& view)
    {
        XSceneSetup setup;
        setup.m_iWidth = 320;
        setup.m_iHeight = 240;
        setup.m_bMark = true;
        CScenePainter painter(setup, 1);
        painter.SetView(view);
        XPicture picture;
        painter.Draw(10, picture);
        return picture;
    }
    // Of the middle, where neither name nor clock nor mark stands.
    struct XMeans {
        double m_dLuma = 0;
        double m_dEdges = 0;   // difference of neighbours
        double m_dColour = 0;  // distance from grey
    };
    static XMeans Means(const XPicture& picture)
    {
        XMeans means;
        int count = 0;
        for (int y = 60; y < 180; ++y)
            for (int x = 20; x < 300; ++x, ++count) {
                const auto at = static_cast<size_t>(y * 320 + x);
                means.m_dLuma += picture.m_Y[at];
                means.m_dEdges += std::abs(picture.m_Y[at] - picture.m_Y[at + 1]);
                const auto chroma = static_cast<size_t>(y / 2 * 160 + x / 2);
                means.m_dColour += std::abs(picture.m_U[chroma] - 128) + std::abs(picture.m_V[chroma] - 128);
            }
        return {means.m_dLuma / count, means.m_dEdges / count, means.m_dColour / count};
    }
    static double Shift(const XPicture& a, const XPicture& b, int dx, int dy)
    {
        double difference = 0;
        for (int y = 80; y < 160; ++y)
            for (int x = 100; x < 200; ++x)
                difference += std::abs(a.m_Y[static_cast<size_t>((y + dy) * 320 + x + dx)] -
                                       b.m_Y[static_cast<size_t>(y * 320 + x)]);
        return difference / (80 * 100);
    }
};

TEST_F(ViewTest, NeutralIsTheSceneAsDrawn)
{
    XSceneSetup setup;
    setup.m_iWidth = 320;
    setup.m_iHeight = 240;
    setup.m_bMark = true;
    EXPECT_EQ(LumaPsnr(Shown({}), DrawScene(setup, 1, 10)), 100);
}

TEST_F(ViewTest, PanAndTiltShiftThePicture)
{
    const XPicture plain = Shown({});
    XView view;
    view.m_dPan = 0.1;
    EXPECT_LT(Shift(plain, Shown(view), 32, 0), 1);
    EXPECT_GT(Shift(plain, Shown(view), 0, 0), 3);
    view = {};
    view.m_dTilt = -0.1;
    EXPECT_LT(Shift(plain, Shown(view), 0, -24), 1);
    view = {};
    view.m_dPan = 1.5;
    view.m_dTilt = 0.5;
    EXPECT_TRUE(ReadMark(Shown(view))) << "what is laid over it stays, wherever the camera looks";
}

TEST_F(ViewTest, ZoomEnlargesTheMiddle)
{
    const XPicture plain = Shown({});
    XView view;
    view.m_dZoom = 2;
    const XPicture zoomed = Shown(view);
    double difference = 0;
    for (int y = 90; y < 150; ++y)
        for (int x = 120; x < 200; ++x)
            difference += std::abs(zoomed.m_Y[static_cast<size_t>((2 * y - 120) * 320 + 2 * x - 160)] -
                                   plain.m_Y[static_cast<size_t>(y * 320 + x)]);
    EXPECT_LT(difference / (60 * 80), 2);
}

TEST_F(ViewTest, FocusBlursIrisAndLightBrighten)
{
    const XMeans plain = Means(Shown({}));
    XView view;
    view.m_dBlur = 1;
    EXPECT_LT(Means(Shown(view)).m_dEdges, plain.m_dEdges * 0.5);
    EXPECT_NEAR(Means(Shown(view)).m_dLuma, plain.m_dLuma, 4);
    view = {};
    view.m_dIris = 0.5;
    EXPECT_GT(Means(Shown(view)).m_dLuma, plain.m_dLuma + 10);
    view.m_dIris = -0.5;
    EXPECT_LT(Means(Shown(view)).m_dLuma, plain.m_dLuma - 10);
    view = {};
    view.m_bLight = true;
    EXPECT_GT(Means(Shown(view)).m_dLuma, plain.m_dLuma + 5);
    view = {};
    view.m_dWiper = 0.5;
    EXPECT_GT(LumaPsnr(Shown(view), Shown({})), 10);
    EXPECT_LT(LumaPsnr(Shown(view), Shown({})), 40);
}

TEST_F(ViewTest, EachColourSettingChangesWhatItIsNamedFor)
{
    const XMeans plain = Means(Shown({}));
    XView view;
    view.m_dBright = 0.4;
    EXPECT_GT(Means(Shown(view)).m_dLuma, plain.m_dLuma + 20);
    view = {};
    view.m_dContrast = -0.8;
    EXPECT_LT(Means(Shown(view)).m_dEdges, plain.m_dEdges * 0.75);
    view = {};
    view.m_dSaturation = -1;
    EXPECT_LT(Means(Shown(view)).m_dColour, 2) << "grey";
    EXPECT_NEAR(Means(Shown(view)).m_dLuma, plain.m_dLuma, 2);
    view.m_dSaturation = 0.5;
    EXPECT_GT(Means(Shown(view)).m_dColour, plain.m_dColour * 1.3);
    view = {};
    view.m_dHue = 0.5;
    EXPECT_NEAR(Means(Shown(view)).m_dLuma, plain.m_dLuma, 8);
    EXPECT_LT(LumaPsnr(Shown(view), Shown({})), 60);
    double moved = 0;
    const XPicture turned = Shown(view);
    const XPicture straight = Shown({});
    for (size_t i = 0; i < turned.m_U.size(); ++i)
        moved += std::abs(turned.m_U[i] - straight.m_U[i]);
    EXPECT_GT(moved / static_cast<double>(turned.m_U.size()), 3);
}

}  // namespace
