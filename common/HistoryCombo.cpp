#include "common/HistoryCombo.h"

#include <QAbstractItemView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QWheelEvent>

#include "inc/OutputDebugString.h"
#include "platform/files/profile.h"
#include "platform/files/profile_edit.h"
#include "platform/qt/PanelsThread.h"

namespace
{

constexpr std::uint32_t ENTRY_BYTES = 32 * 1024;  // longer texts are cut when they are read back

}  // namespace

CHistoryCombo::CHistoryCombo(QWidget* parent, bool allowSorted, EStyle style, QLineEdit* field)
    : QComboBox(parent), m_bSorted(style == EStyle::Sorted)
{
    if (m_bSorted && !allowSorted) OutputDebugStringA("WARNING: Creating History combo with CBS_SORT style\n");
    setEditable(true);
    if (field != nullptr) setLineEdit(field);
    setInsertPolicy(NoInsert);
    setCompleter(nullptr);
    lineEdit()->installEventFilter(this);
    connect(lineEdit(), &QLineEdit::textEdited, this, &CHistoryCombo::CompleteTyped);
}

bool CHistoryCombo::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == lineEdit() && event->type() == QEvent::KeyPress) NoteKey(*static_cast<QKeyEvent*>(event));
    return QComboBox::eventFilter(watched, event);
}

// The box has the keyboard and hands its keys to the field past the field's filters.
void CHistoryCombo::keyPressEvent(QKeyEvent* event)
{
    NoteKey(*event);
    QComboBox::keyPressEvent(event);
}

// The wheel would replace what is typed by an entry. An open list handles the wheel itself.
void CHistoryCombo::wheelEvent(QWheelEvent* event)
{
    event->ignore();
}

void CHistoryCombo::showPopup()
{
    QComboBox::showPopup();
    QWidget* const list = view()->window();
    QRect place = list->geometry();
    if (place.height() <= m_iListDepth) return;
    if (place.top() < mapToGlobal(QPoint(0, 0)).y())
        place.setTop(place.bottom() + 1 - m_iListDepth);  // it opened above the field
    else
        place.setHeight(m_iListDepth);
    list->setGeometry(place);
}

void CHistoryCombo::NoteKey(const QKeyEvent& event)
{
    m_bDoComplete = event.key() != Qt::Key_Delete && event.key() != Qt::Key_Backspace;
}

void CHistoryCombo::CompleteTyped()
{
    const QString typed = lineEdit()->text();
    if (!m_bAutoComplete || !m_bDoComplete || typed.isEmpty()) return;  // an empty text begins every entry
    const int entry = findText(typed, Qt::MatchStartsWith | Qt::MatchCaseSensitive);
    if (entry < 0) return;  // text and selection stay as they were typed
    lineEdit()->setText(itemText(entry));
    // From the end back to what was typed: the caret stays there.
    lineEdit()->setSelection(static_cast<int>(itemText(entry).size()),
                             static_cast<int>(typed.size() - itemText(entry).size()));
}

int CHistoryCombo::AddString(const QString& text)
{
    ASSERT_PANELS_THREAD();
    const QString trimmed = text.trimmed();
    insertItem(0,
               trimmed);  // oddity: empty-entry; nothing refuses blanks, and a list that is loaded ends there
    for (int i = 1; i < count(); ++i) {
        if (itemText(i) == trimmed) {
            removeItem(i);
            break;
        }
    }
    Trim();
    if (m_bSorted) model()->sort(0);
    const int index = findText(trimmed, Qt::MatchExactly | Qt::MatchCaseSensitive);
    setCurrentIndex(index);
    return index;
}

void CHistoryCombo::Trim()
{
    while (count() > m_iMaxHistory)
        removeItem(count() - 1);
}

QString CHistoryCombo::LoadHistory(const QString& section, const QString& prefix, bool restoreLast,
                                   const QString& lastKey)
{
    if (section.isEmpty() || prefix.isEmpty()) return {};
    m_strSection = section;
    m_strPrefix = prefix;
    m_strLastKey = lastKey;
    m_bRestoreLast = restoreLast;
    clear();
    for (int n = 0; n < m_iMaxHistory; ++n) {
        const QString entry = Read(Key(n));
        if (entry.isEmpty()) break;
        addItem(entry);
    }
    if (m_bSorted) model()->sort(0);
    setCurrentIndex(-1);
    if (!m_bRestoreLast) return {};
    QString last = Read(GetLastKey());
    setEditText(last);
    return last;
}

QString CHistoryCombo::LoadHistory(const QStringList& texts, bool selectFirst)
{
    ASSERT_PANELS_THREAD();
    const int selected = currentIndex();
    const QString typed = currentText();
    for (const QString& text : texts) {
        if (!text.isEmpty()) addItem(text);
    }
    // The toolkit selects the first text that comes into an empty list.
    setCurrentIndex(selectFirst && count() > 0 ? 0 : selected);
    if (!selectFirst) setEditText(typed);
    return currentText();
}

void CHistoryCombo::SaveHistory(bool addCurrent)
{
    ASSERT_PANELS_THREAD();
    if (m_strSection.isEmpty()) return;
    if (addCurrent) AddString(currentText());  // an empty one too
    EditIniFile(GetApplicationProfilePath(), [this](CIniText& profile) {
        const int entries = std::min(count(), m_iMaxHistory + 1);
        for (int n = 0; n < entries; ++n)
            Write(profile, Key(n), itemText(n));
        BlankKeys(profile, entries);
        if (m_bRestoreLast) Write(profile, GetLastKey(), currentText());
        return true;
    });
}

void CHistoryCombo::ClearHistory(bool fromProfile)
{
    ASSERT_PANELS_THREAD();
    if (m_strSection.isEmpty()) return;
    clear();
    if (!fromProfile) return;
    EditIniFile(GetApplicationProfilePath(), [this](CIniText& profile) {
        BlankKeys(profile, 0);
        Write(profile, GetLastKey(), {});
        return true;
    });
}

// The first key without a text is the end of the older list.
void CHistoryCombo::BlankKeys(CIniText& profile, int from) const
{
    const std::string section = m_strSection.toStdString();
    std::string entry;
    for (int n = from; n < MAX_KEYS; ++n) {
        const bool found = profile.Find(section, Key(n).toStdString(), entry);
        if (!found || entry.empty()) return;
        Write(profile, Key(n), {});
    }
}

void CHistoryCombo::CopyTo(CHistoryCombo& to) const
{
    ASSERT_PANELS_THREAD();
    to.clear();
    for (int i = 0; i < count(); ++i)
        to.addItem(itemText(i));
    to.setCurrentIndex(to.findText(currentText(), Qt::MatchExactly | Qt::MatchCaseSensitive));
    to.setEditText(currentText());
}

void CHistoryCombo::SetMaxHistory(int maximum)
{
    ASSERT_PANELS_THREAD();
    m_iMaxHistory = std::max(maximum, 0);
    Trim();
}

QString CHistoryCombo::GetLastKey() const
{
    if (!m_strLastKey.isEmpty()) return m_strLastKey;
    return m_strPrefix.isEmpty() ? QStringLiteral("Last") : m_strPrefix;
}

QString CHistoryCombo::Key(int number) const
{
    return m_strPrefix + QString::number(number);
}

QString CHistoryCombo::Read(const QString& key) const
{
    return QString::fromStdString(GetProfileText(m_strSection.toUtf8().constData(), key.toUtf8().constData(),
                                                 "", ENTRY_BYTES, GetApplicationProfilePath()));
}

// A text that can't stand in one line is not kept.
void CHistoryCombo::Write(CIniText& profile, const QString& key, const QString& text) const
{
    profile.Set(m_strSection.toStdString(), key.toStdString(), text.toStdString());
}
