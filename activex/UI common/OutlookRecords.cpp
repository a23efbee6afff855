#include "activex/UI common/OutlookRecords.h"

void COL2CCmdUI::Enable(bool)
{
    m_dwState |= OL2_STATE_ENABLED;
}

void COL2CCmdUI::SetCheck(std::int32_t check)
{
    if (check != 0) m_dwState |= OL2_STATE_ON;
}

void COL2CCmdUI::SetRadio(bool on)
{
    if (on) m_dwState |= OL2_STATE_RADIO;
}

void COL2CCmdUI::SetText(const QString& text)
{
    m_Line.m_strText = text;
}
