#pragma once

#include <QLoggingCategory>

/// The payment item's lines in the Qt debug log.
Q_DECLARE_LOGGING_CATEGORY(paymentLog)
