#include "app/desktop/QtExecutor.h"

#include <QCoreApplication>
#include <QThreadPool>
#include <QTimer>

namespace wordloom {

Timestamp QtExecutor::now() const {
    return std::chrono::system_clock::now();
}

void QtExecutor::post(Task task) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(task), Qt::QueuedConnection);
}

ScheduledTask QtExecutor::postAfter(Duration delay, Task task) {
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    const auto milliseconds = static_cast<int>(
        std::chrono::ceil<std::chrono::milliseconds>(std::max(delay, Duration::zero())).count());
    // Timers belong to the main thread: start it there.
    post([milliseconds, cancelled, task = std::move(task)]() mutable {
        QTimer::singleShot(milliseconds, Qt::PreciseTimer, QCoreApplication::instance(),
                           [cancelled, task = std::move(task)] {
                               if (!cancelled->load()) {
                                   task();
                               }
                           });
    });
    return ScheduledTask(cancelled);
}

void QtExecutor::runInBackground(Task task) {
    QThreadPool::globalInstance()->start(std::move(task));
}

}  // namespace wordloom
