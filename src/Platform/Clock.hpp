// Wall-clock time, as seconds since 1970-01-01 00:00:00 UTC.
#pragma once

namespace tandri {

class Clock {
  public:
    virtual ~Clock() = default;
    virtual double now() const = 0;
};

/// The system's clock.
class SystemClock final : public Clock {
  public:
    double now() const override;
};

}  // namespace tandri
