#pragma once

#include <QComboBox>
#include <QString>
#include <QStringList>
#include <limits>

class CIniText;
class QLineEdit;

/// A combo box that remembers what was typed: the most recent text first, kept between runs in the application
/// profile, and completed against the list while typing. Panels' thread only.
///
/// In the profile, under the section given, the key prefix followed by n holds entry n; one further key
/// holds the text that was current at the last save. Failures of the profile read as empty texts, which simply
/// end the list.
class CHistoryCombo : public QComboBox
{
    Q_OBJECT

  public:
    static constexpr int DEFAULT_MAX_HISTORY = 10;
    /// The bound of key numbers when the rest of an older, longer list is blanked.
    static constexpr int MAX_KEYS = 1000;

    enum class EStyle {
        Plain,
        Sorted,  // keeps its entries sorted, which does not go with the most recent first
    };

    /// `allowSorted` says that a sorted list is meant; without it a sorted combo warns in the debugger output.
    /// `field`, which the combo takes over, is typed into in place of the toolkit's.
    explicit CHistoryCombo(QWidget* parent = nullptr, bool allowSorted = false, EStyle style = EStyle::Plain,
                           QLineEdit* field = nullptr);

    /// Puts `text`, its surrounding blanks trimmed, first and selects it; an older entry of the same text goes,
    /// and the list is trimmed to its maximum. An empty text is an entry like others. Returns the text's index.
    int AddString(const QString& text);

    /// Empties the list and fills it from the profile, at most up to the maximum; the first empty entry ends
    /// it. With `restoreLast` the text of the last save becomes current. Returns that text, or "" without
    /// `restoreLast` or when section or prefix is empty, which does nothing. `lastKey` names the last text's
    /// key; see GetLastKey.
    QString LoadHistory(const QString& section, const QString& prefix, bool restoreLast = true,
                        const QString& lastKey = {});
    /// Appends each text that is not empty, selects entry 0 if asked, and returns the current text.
    QString LoadHistory(const QStringList& texts, bool selectFirst);

    /// Writes the list (one entry more than the maximum, if it has that many) and blanks the keys of an older,
    /// longer one after it; with `addCurrent` the current text is added first. All of it is one write. Nothing
    /// happens before a LoadHistory.
    void SaveHistory(bool addCurrent = true);

    /// Empties the list; with `fromProfile` the profile's entries and last text too. Nothing happens before a
    /// LoadHistory.
    void ClearHistory(bool fromProfile = true);

    /// Replaces the entries of `to` by this one's and selects the same text there.
    void CopyTo(CHistoryCombo& to) const;

    /// Stores the maximum (0 or more) and deletes the entries beyond it at once.
    void SetMaxHistory(int maximum);

    void SetAutoComplete(bool on) { m_bAutoComplete = on; }

    /// How deep the list drops at most, in pixels; a longer one is scrolled.
    void SetListDepth(int depth) { m_iListDepth = depth; }
    void showPopup() override;

    /// The key of the last text: the one given, else the prefix, else "Last".
    QString GetLastKey() const;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    void NoteKey(const QKeyEvent& event);
    void CompleteTyped();
    void Trim();
    QString Read(const QString& key) const;
    void Write(CIniText& profile, const QString& key, const QString& text) const;
    QString Key(int number) const;
    void BlankKeys(CIniText& profile, int from) const;

    QString m_strSection;
    QString m_strPrefix;
    QString m_strLastKey;         // empty: the default
    bool m_bRestoreLast = false;  // save and restore the current text
    bool m_bAutoComplete = true;
    bool m_bDoComplete =
        true;  // for this edit: not after Delete and Backspace, so that deleting never completes
    int m_iMaxHistory = DEFAULT_MAX_HISTORY;
    int m_iListDepth = std::numeric_limits<int>::max();
    bool m_bSorted;
};
