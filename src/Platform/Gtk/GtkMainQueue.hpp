#pragma once

// The main queue on GLib's default main context: the thread that made the
// queue runs the main loop; work from other threads is handed to it.

#include <thread>

#include "Platform/MainQueue.hpp"

namespace tandri::gtk {

class GtkMainQueue : public MainQueue {
  public:
    GtkMainQueue();  // the calling thread is the main thread
    void post(std::function<void()> work) override;
    void runSync(std::function<void()> work) override;
    bool isMainThread() const override;

  private:
    std::thread::id mainThread_;
};

}  // namespace tandri::gtk
