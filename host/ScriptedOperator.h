#pragma once

#include <QElapsedTimer>
#include <QModelIndex>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>

#include "host/Options.h"

class QAction;
class QComboBox;
class QMenu;
class QTreeView;

/// Does with the control's panels what a person would: types the net id, accepts, opens channels by the tree's
/// menu, chooses an arrangement, goes into full screen. Each step waits until the panel shows what it needs,
/// for a time at most; a message box that comes up is closed and is a failure. It finds the controls by their
/// numbers and knows nothing else of them.
class CScriptedOperator : public QObject
{
    Q_OBJECT

  public:
    /// `panel` is the control's window, which must outlive this.
    CScriptedOperator(const Options& options, QWidget& panel, QObject* parent);

    /// Begins; Finished comes later, from the event loop.
    void Start();
    /// Takes a message of the panels. One that comes while a step is at work is that step's failure: true then,
    /// and Finished comes later, from the event loop. Others, as the renderer's about one stream, end nothing.
    bool OnMessage(const QString& text);
    /// Folds the side bar again that it has unfolded, also where it didn't come to that; while the panel
    /// stands.
    void FoldBack();
    /// Channels that were opened so far, from 1.
    const QList<int>& GetOpened() const { return m_Opened; }
    /// What it is at; empty before Start and when it is through, with or without a fault.
    QString GetPresentStep() const { return m_Steps.isEmpty() ? QString() : m_Steps.constFirst().what; }

  signals:
    /// `fault` is empty when everything was done.
    void Finished(const QString& fault);

  private:
    // Answers true when it is done; called again and again until then.
    using StepWork = std::function<bool()>;
    struct Step {
        QString what;
        StepWork step;
    };

    void AddStep(const QString& what, StepWork step) { m_Steps.append({what, std::move(step)}); }
    void PlanUnfolding();
    void PlanLogon();
    void PlanOpening();
    void PlanOneChannel(int channel);
    void PlanLayout();
    void Next();
    void RunStep();
    void Finish(const QString& fault);
    bool ChooseFromMenu(const std::function<bool(const QAction&)>& wanted);
    QTreeView* FindTree() const;
    QModelIndex FindFolder() const;
    template <typename Panel>
    Panel* Find(int control) const;

    const Options m_Options;
    QWidget& m_Panel;
    QList<Step> m_Steps;
    QList<int> m_Opened;
    bool m_bUnfolded = false;  // the side bar, which its user has folded
    QTimer m_Timer;
    bool m_bInStep = false;    // from the queueing of a step to its end
    bool m_bStepRuns = false;  // it is at work
    QElapsedTimer m_StepTime;
};
