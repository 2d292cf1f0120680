// The operating-system version the library behaves as; some screens differ before a version.
#pragma once

namespace tandri {

struct OSVersion {
    int major = 17;
    int minor = 0;

    /// Whether this version is `major`.`minor` or later.
    bool isAtLeast(int wantMajor, int wantMinor = 0) const {
        return major > wantMajor || (major == wantMajor && minor >= wantMinor);
    }
};

}  // namespace tandri
