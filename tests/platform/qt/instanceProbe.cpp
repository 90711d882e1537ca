#include "platform/linux/qt/SingleInstance.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstring>

/// A program of which one runs at a time: says what it has become, and each time another one asks for it.
int main(int argc, char** argv)
{
    using lingrelay::SingleInstance;
    QCoreApplication application(argc, argv);
    bool const replace = argc > 1 && std::strcmp(argv[1], "--replace") == 0;
    SingleInstance instance("lingrelay-test", replace ? SingleInstance::Takeover::yes : SingleInstance::Takeover::no);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::puts(instance.first() ? "first" : "second");
    if (!instance.first())
        return 0;
    instance.onRaise = [] { std::puts("raised"); };
    return QCoreApplication::exec();
}
