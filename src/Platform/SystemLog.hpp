// The system log: the only output the library writes whatever its configuration.
#pragma once

#include <string_view>

namespace tandri {

class SystemLog {
  public:
    virtual ~SystemLog() = default;
    /// Writes one line (without its line break).
    virtual void write(std::string_view line) = 0;
};

/// Writes each line to standard error, followed by a line break.
class StandardErrorLog final : public SystemLog {
  public:
    void write(std::string_view line) override;
};

}  // namespace tandri
