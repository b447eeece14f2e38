#include "payment/ptyline.h"

#include <QDir>
#include <QFileInfo>

int PtyLine::openCount() const
{
    constexpr int heldByThePair = 1;
    int count = 0;
    const auto descriptors = QDir("/proc/self/fd").entryInfoList(QDir::Files | QDir::System);
    for (const QFileInfo &descriptor : descriptors)
        count += descriptor.symLinkTarget() == port();
    return count - heldByThePair;
}
