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

void Camera::Do(const Command& command)
{
    if (command.kind != Command::EKind::Set) {
        m_Runs[static_cast<size_t>(command.motor)] = command.kind == Command::EKind::Start;
        // Panels begin with the one scan and end with the other's stop.
        const bool scans = command.motor == EMotor::Scan || command.motor == EMotor::SoftScan;
        if (scans && command.kind == Command::EKind::Stop)
            for (const EMotor scan : {EMotor::Scan, EMotor::SoftScan})
                m_Runs[static_cast<size_t>(scan)] = false;
        return;
    }
    const int setting = std::clamp(command.value, 0, 2 * NEUTRAL);
    const double value = static_cast<double>(setting - NEUTRAL) / NEUTRAL;
    double* const settings[COLOURS] = {&m_View.bright, &m_View.contrast, &m_View.hue, &m_View.saturation};
    *settings[static_cast<size_t>(command.colour)] = value;
}

View Camera::At(int64_t picture)
{
    const int64_t steps = m_Picture < 0 ? 1 : std::min<int64_t>(picture - m_Picture, MOST_STEPS);
    for (int64_t i = 0; i < steps; ++i)
        Step();
    m_Picture = std::max(m_Picture, picture);
    View view = m_View;
    view.pan += 0.5 * std::sin(m_Scan * 2 * std::numbers::pi);
    view.blur = std::abs(m_Focus);
    view.wiper = Runs(EMotor::Rain) ? 0.5 - 0.5 * std::cos(m_Wiper * 2 * std::numbers::pi) : -1;
    view.light = Runs(EMotor::Light);
    return view;
}

void Camera::Step()
{
    const auto way = [this](EMotor minus, EMotor plus) { return (Runs(plus) ? 1 : 0) - (Runs(minus) ? 1 : 0); };
    const double second = 1.0 / m_Rate;
    const double pan = PAN_SPEED * second / m_View.zoom;
    // A turn all round is two pictures: the scene and its mirrored image.
    m_View.pan = std::fmod(m_View.pan + pan * way(EMotor::Left, EMotor::Right), 2);
    m_View.tilt = std::clamp(m_View.tilt + pan * way(EMotor::Up, EMotor::Down), -0.5, 0.5);
    m_View.zoom = std::clamp(m_View.zoom * std::pow(ZOOM_SPEED, second * way(EMotor::ZoomOut, EMotor::ZoomIn)),
                             1.0, MOST_ZOOM);
    m_Focus = std::clamp(m_Focus + FOCUS_SPEED * second * way(EMotor::FocusOut, EMotor::FocusIn), -1.0, 1.0);
    m_View.iris =
        std::clamp(m_View.iris + IRIS_SPEED * second * way(EMotor::IrisClose, EMotor::IrisOpen), -1.0, 1.0);
    if (Runs(EMotor::Scan)) m_Scan = std::fmod(m_Scan + second / SCAN_SECONDS, 1);
    if (Runs(EMotor::SoftScan)) m_Scan = std::fmod(m_Scan + second / SCAN_SECONDS / 2, 1);
    m_Wiper = Runs(EMotor::Rain) ? std::fmod(m_Wiper + second / WIPER_SECONDS, 1) : 0;
}

}  // namespace recorder
