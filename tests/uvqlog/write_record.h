#pragma once

#include <memory>
#include <string_view>

#include "uvqlog/uvqlog.h"

/// Writes one finished record, whatever the logger's threshold.
inline void WriteRecord(uvqlog::Logger* logger, uvqlog::Severity severity, std::string_view text) {
    auto record = std::make_shared<uvqlog::LogRecord>(severity);
    record->WriteData(text.data(), static_cast<int>(text.size()));
    logger->Write(record);
}
