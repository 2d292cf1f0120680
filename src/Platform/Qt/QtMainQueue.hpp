#pragma once

// The main queue on Qt's event loop: the thread that made the queue runs the application's event
// loop; work from other threads is handed to it.

#include <QObject>
#include <QPointer>

#include "Platform/MainQueue.hpp"

namespace tandri::qt {

class QtMainQueue : public MainQueue {
  public:
    QtMainQueue();  // the calling thread is the main thread
    ~QtMainQueue() override;
    void post(std::function<void()> work) override;
    void runSync(std::function<void()> work) override;
    bool isMainThread() const override;

  private:
    QObject* context_;  // lives in the main thread; posted work runs in its thread
};

}  // namespace tandri::qt
