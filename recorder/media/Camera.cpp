#include "recorder/media/Camera.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace recorder
{

namespace
{

constexpr int MOST_STEPS = 3000;  // that are made up for after a time without pictures

}  // namespace

void CCamera::Do(const XCommand& command)
{
    if (command.m_Kind != XCommand::EKind::Set) {
        m_Runs[static_cast<size_t>(command.m_Motor)] = command.m_Kind == XCommand::EKind::Start;
        return;
    }
    const int setting = std::clamp(command.m_iValue, 0, 2 * NEUTRAL);
    const double value = static_cast<double>(setting - NEUTRAL) / NEUTRAL;
    double* const settings[COLOURS] = {&m_View.m_dBright, &m_View.m_dContrast, &m_View.m_dHue,
                                       &m_View.m_dSaturation};
    *settings[static_cast<size_t>(command.m_Colour)] = value;
}

XView CCamera::At(int64_t iPicture)
{
    const int64_t steps = m_iPicture < 0 ? 1 : std::min<int64_t>(iPicture - m_iPicture, MOST_STEPS);
    for (int64_t i = 0; i < steps; ++i)
        Step();
    m_iPicture = iPicture;
    XView view = m_View;
    view.m_dPan += 0.5 * std::sin(m_dScan * 2 * std::numbers::pi);
    view.m_dBlur = std::abs(m_dFocus);
    view.m_dWiper = Runs(EMotor::Rain) ? 0.5 - 0.5 * std::cos(m_dWiper * 2 * std::numbers::pi) : -1;
    view.m_bLight = Runs(EMotor::Light);
    return view;
}

void CCamera::Step()
{
    const auto way = [this](EMotor minus, EMotor plus) { return (Runs(plus) ? 1 : 0) - (Runs(minus) ? 1 : 0); };
    const double second = 1.0 / m_iRate;
    const double pan = PAN_SPEED * second / m_View.m_dZoom;
    // A turn all round is two pictures: the scene and its mirrored image.
    m_View.m_dPan = std::fmod(m_View.m_dPan + pan * way(EMotor::Left, EMotor::Right), 2);
    m_View.m_dTilt = std::clamp(m_View.m_dTilt + pan * way(EMotor::Up, EMotor::Down), -0.5, 0.5);
    m_View.m_dZoom = std::clamp(
        m_View.m_dZoom * std::pow(ZOOM_SPEED, second * way(EMotor::ZoomOut, EMotor::ZoomIn)), 1.0, MOST_ZOOM);
    m_dFocus = std::clamp(m_dFocus + FOCUS_SPEED * second * way(EMotor::FocusOut, EMotor::FocusIn), -1.0, 1.0);
    m_View.m_dIris =
        std::clamp(m_View.m_dIris + IRIS_SPEED * second * way(EMotor::IrisClose, EMotor::IrisOpen), -1.0, 1.0);
    if (Runs(EMotor::Scan)) m_dScan = std::fmod(m_dScan + second / SCAN_SECONDS, 1);
    if (Runs(EMotor::SoftScan)) m_dScan = std::fmod(m_dScan + second / SCAN_SECONDS / 2, 1);
    m_dWiper = Runs(EMotor::Rain) ? std::fmod(m_dWiper + second / WIPER_SECONDS, 1) : 0;
}

}  // namespace recorder
