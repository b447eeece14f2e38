#pragma once

#include <QQmlExtensionPlugin>

/// Entry point of the QML module Kovira.Simulator.
class SimulatorPlugin : public QQmlExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlExtensionInterface_iid)

public:
    /// Called by the engine when the module is imported.
    void registerTypes(const char *uri) override;
};
