// A separate process over the real defaults file, so that tests can write it from two
// programs at once:
//   settings_probe hammer PREFIX COUNT  writes COUNT keys PREFIX0.. through the raw store
// The file is the standard one, under $XDG_CONFIG_HOME.

#include "settings/JsonFileDefaultsStore.h"

#include <QCoreApplication>

#include <cstdio>

using namespace brindlet;

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments().mid(1);
    if (args.value(0) != QLatin1String("hammer") || args.size() != 3) {
        std::fputs("usage: settings_probe hammer PREFIX COUNT\n", stderr);
        return 2;
    }
    JsonFileDefaultsStore defaults;
    for (int i = 0; i < args[2].toInt(); ++i)
        defaults.setObject(DefaultsValue(qint64(i)), args[1] + QString::number(i));
    return 0;
}
