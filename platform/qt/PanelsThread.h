#pragma once

#include <QCoreApplication>
#include <QThread>
#include <cassert>

// The check of "panels' thread only" at a function's entry, for what is a function of its own or belongs to the
// toolkit; a class of ours has a CThreadMark. Like those of inc/EntryCheck.h it is nothing in a release.

/// Whether the calling thread is the application object's. True without one: before it is made and after it has
/// gone there is no other thread to be taken for it.
inline bool IsPanelsThread()
{
    const QCoreApplication* const application = QCoreApplication::instance();
    return application == nullptr || application->thread() == QThread::currentThread();
}

#define ASSERT_PANELS_THREAD() assert(IsPanelsThread() && "called on a foreign thread")
