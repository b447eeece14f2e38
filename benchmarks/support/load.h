#pragma once

#include "support/childprocess.h"

#include <memory>
#include <vector>

/// Processes of ordinary priority that keep every core busy while this object lives.
class BusyCores
{
public:
    BusyCores();

private:
    std::vector<std::unique_ptr<ChildProcess>> m_processes;
};
