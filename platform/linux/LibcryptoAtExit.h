#pragma once

namespace fliprugair {

/// Keeps libcrypto's own cleaning up out of exit(): it would take away what a network thread is using for TLS, and the
/// process would crash in its last moments. Has no effect once somebody else in the process has used libcrypto.
void keepLibcryptoThroughExit();

}  // namespace fliprugair
