#include "simulatorplugin.h"

#include "simulatedmachine.h"

#include <qqml.h>

void SimulatorPlugin::registerTypes(const char *uri)
{
    qmlRegisterType<SimulatedMachine>(uri, 1, 0, "SimulatedMachine");
}
