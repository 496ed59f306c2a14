// The manager in Qt's main loop: loop_qt PATH

#include "Services.h"

#include <QCoreApplication>
#include <QSocketNotifier>

int main(int argc, char** argv)
{
    Services services(argc == 2 ? argv[1] : "");
    if (!services.areReady()) {
        return 1;
    }
    const QCoreApplication application(argc, argv);
    const QSocketNotifier notifier(services.manager.getDescriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&services] {
        services.manager.dispatch();
        if (services.areStopped()) {
            QCoreApplication::quit();
        }
    });
    return QCoreApplication::exec();
}
