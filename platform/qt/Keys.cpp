#include "platform/qt/Keys.h"

#include <QtCore/qnamespace.h>

#include <algorithm>
#include <iterator>

namespace
{
struct KeyRow {
    int key;
    std::uint32_t number;
};

constexpr KeyRow KEYS[] = {
    {Qt::Key_Backspace, VK_BACK}, {Qt::Key_Tab, VK_TAB},        {Qt::Key_Backtab, VK_TAB},
    {Qt::Key_Clear, 0x0C},        {Qt::Key_Return, VK_RETURN},  {Qt::Key_Enter, VK_RETURN},
    {Qt::Key_Shift, 0x10},        {Qt::Key_Control, 0x11},      {Qt::Key_Alt, 0x12},
    {Qt::Key_Pause, 0x13},        {Qt::Key_CapsLock, 0x14},     {Qt::Key_Escape, VK_ESCAPE},
    {Qt::Key_PageUp, 0x21},       {Qt::Key_PageDown, 0x22},     {Qt::Key_End, VK_END},
    {Qt::Key_Home, 0x24},         {Qt::Key_Left, 0x25},         {Qt::Key_Up, 0x26},
    {Qt::Key_Right, 0x27},        {Qt::Key_Down, VK_DOWN},      {Qt::Key_Select, 0x29},
    {Qt::Key_Print, 0x2A},        {Qt::Key_SysReq, 0x2C},       {Qt::Key_Insert, 0x2D},
    {Qt::Key_Delete, VK_DELETE},  {Qt::Key_Help, 0x2F},         {Qt::Key_Meta, 0x5B},
    {Qt::Key_Menu, 0x5D},         {Qt::Key_NumLock, 0x90},      {Qt::Key_ScrollLock, 0x91},
    {Qt::Key_Semicolon, 0xBA},    {Qt::Key_Equal, 0xBB},        {Qt::Key_Plus, 0xBB},
    {Qt::Key_Comma, 0xBC},        {Qt::Key_Minus, 0xBD},        {Qt::Key_Period, 0xBE},
    {Qt::Key_Slash, 0xBF},        {Qt::Key_QuoteLeft, 0xC0},    {Qt::Key_BracketLeft, 0xDB},
    {Qt::Key_Backslash, 0xDC},    {Qt::Key_BracketRight, 0xDD}, {Qt::Key_Apostrophe, 0xDE}};
}  // namespace

std::uint32_t VirtualKey(int key)
{
    const bool same = key == Qt::Key_Space || (key >= Qt::Key_0 && key <= Qt::Key_9) ||
                      (key >= Qt::Key_A && key <= Qt::Key_Z);  // these numbers agree
    if (same) return static_cast<std::uint32_t>(key);
    if (key >= Qt::Key_F1 && key <= Qt::Key_F24) return VK_F1 + static_cast<std::uint32_t>(key - Qt::Key_F1);
    const auto* found =
        std::find_if(std::begin(KEYS), std::end(KEYS), [key](const KeyRow& one) { return one.key == key; });
    return found == std::end(KEYS) ? 0 : found->number;
}
