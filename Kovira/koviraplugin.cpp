#include "koviraplugin.h"

#include "paymentmdb.h"

#include <qqml.h>

void KoviraPlugin::registerTypes(const char *uri)
{
    qmlRegisterType<PaymentMDB>(uri, 1, 0, "PaymentMDB");
}
