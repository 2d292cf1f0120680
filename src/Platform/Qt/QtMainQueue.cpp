#include "Platform/Qt/QtMainQueue.hpp"

#include <QCoreApplication>
#include <QThread>

namespace tandri::qt {

QtMainQueue::QtMainQueue() : context_(new QObject) {}

QtMainQueue::~QtMainQueue() {
    // Work still queued for it is dropped with it.
    if (QCoreApplication::instance() != nullptr) {
        context_->deleteLater();
    } else {
        delete context_;
    }
}

void QtMainQueue::post(std::function<void()> work) {
    // Always queued, even on the main thread: posted work runs after the caller returns, in the
    // order posted, among the engine's own events.
    QMetaObject::invokeMethod(context_, std::move(work), Qt::QueuedConnection);
}

void QtMainQueue::runSync(std::function<void()> work) {
    if (isMainThread()) {
        work();
        return;
    }
    QMetaObject::invokeMethod(context_, std::move(work), Qt::BlockingQueuedConnection);
}

bool QtMainQueue::isMainThread() const {
    return QThread::currentThread() == context_->thread();
}

}  // namespace tandri::qt
