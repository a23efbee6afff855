#include "recorder/scene/Overlay.h"

#include <algorithm>
#include <cmath>

#include "recorder/scene/Canvas.h"

namespace recorder
{

namespace
{

constexpr int SMALLEST_TEXT = 10;  // pixels
constexpr const char* CLOCK_LETTERS = "0123456789-:. ";

std::string NameOf(const SceneSetup& setup, int channel)
{
    const auto index = static_cast<size_t>(channel);
    return index < setup.names.size() && !setup.names[index].empty() ? setup.names[index]
                                                                     : DefaultName(channel);
}

}  // namespace

TextOverlay::TextOverlay(const SceneSetup& setup, int channel)
    : m_Setup(setup),
      m_Size(std::max(SMALLEST_TEXT, setup.height / 24)),
      m_Rim(std::max(2, m_Size / 8)),
      m_Ascent(m_Size + m_Rim),
      m_Name(MakeSprite(NameOf(setup, channel)))
{
    for (const char* letter = CLOCK_LETTERS; *letter != 0; ++letter)
        m_Clock[*letter] = MakeSprite(std::string(1, *letter));
}

TextOverlay::Sprite TextOverlay::MakeSprite(const std::string& text) const
{
    const Surface ruler(1, 1);
    const double advance = Canvas(ruler.Context()).TextWidth(m_Size, text);
    Sprite sprite;
    sprite.advance = static_cast<int>(std::ceil(advance));
    const int width = std::min(sprite.advance, m_Setup.width) + 2 * m_Rim;
    sprite.surface = std::make_unique<Surface>(width, m_Ascent + m_Size / 2, CAIRO_FORMAT_ARGB32);
    Canvas(sprite.surface->Context()).RimText(m_Rim, m_Ascent, m_Size, text, Rgb(0xFFFFFF));
    cairo_surface_flush(sprite.surface->GetSurface());
    return sprite;
}

void TextOverlay::Lay(cairo_t* context, const Sprite& sprite, int left, int baseline) const
{
    cairo_set_source_surface(context, sprite.surface->GetSurface(), left - m_Rim, baseline - m_Ascent);
    cairo_paint(context);
}

void TextOverlay::Draw(cairo_t* context, int64_t picture, const std::string& note) const
{
    const int margin = m_Size * 2 / 3;
    Lay(context, m_Name, margin, margin + m_Size);
    if (!note.empty()) Lay(context, MakeSprite(note), margin, 2 * margin + 2 * m_Size);
    const std::string clock = ClockText(m_Setup, picture);
    int x = m_Setup.width - margin;
    for (const char letter : clock)
        x -= m_Clock.at(letter).advance;
    for (const char letter : clock) {
        const Sprite& sprite = m_Clock.at(letter);
        Lay(context, sprite, x, m_Setup.height - margin);
        x += sprite.advance;
    }
}

}  // namespace recorder
