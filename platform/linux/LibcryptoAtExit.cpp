#include "platform/linux/LibcryptoAtExit.h"

#include <openssl/crypto.h>

namespace fliprugair {

void keepLibcryptoThroughExit() {
  // What fails here costs nothing but the effect.
  static_cast<void>(OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr));
}

}  // namespace fliprugair
