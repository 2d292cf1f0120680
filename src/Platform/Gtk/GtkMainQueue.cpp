#include "Platform/Gtk/GtkMainQueue.hpp"

#include <glib.h>

#include <condition_variable>
#include <mutex>

namespace tandri::gtk {

namespace {

gboolean runOnce(gpointer data) {
    auto* work = static_cast<std::function<void()>*>(data);
    (*work)();
    return G_SOURCE_REMOVE;
}

void destroyWork(gpointer data) {
    delete static_cast<std::function<void()>*>(data);
}

}  // namespace

GtkMainQueue::GtkMainQueue() : mainThread_(std::this_thread::get_id()) {}

void GtkMainQueue::post(std::function<void()> work) {
    // Always a new source, even on the main thread: posted work runs after the caller returns.
    // Default priority, so posted work and the engine's own events keep their order.
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, runOnce, new std::function<void()>(std::move(work)), destroyWork);
    g_source_attach(source, nullptr);  // wakes the main context when called from elsewhere
    g_source_unref(source);
}

void GtkMainQueue::runSync(std::function<void()> work) {
    if (isMainThread()) {
        work();
        return;
    }
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    post([&] {
        work();
        std::lock_guard lock(mutex);
        finished = true;
        done.notify_all();
    });
    std::unique_lock lock(mutex);
    done.wait(lock, [&] { return finished; });
}

bool GtkMainQueue::isMainThread() const {
    return std::this_thread::get_id() == mainThread_;
}

}  // namespace tandri::gtk
