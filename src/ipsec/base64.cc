#include "ipsec/base64.h"

#include <dlfcn.h>
#include <openssl/bio.h>
#include <openssl/evp.h>

#include <optional>

namespace {

// The operations of libcrypto that the encoder is built from.
struct Crypto {
  decltype(&BIO_new) bio_new;
  decltype(&BIO_f_base64) bio_f_base64;
  decltype(&BIO_s_mem) bio_s_mem;
  decltype(&BIO_push) bio_push;
  decltype(&BIO_set_flags) bio_set_flags;
  decltype(&BIO_write) bio_write;
  decltype(&BIO_ctrl) bio_ctrl;
  decltype(&BIO_free_all) bio_free_all;
};

template <typename Operation>
bool find(void *library, const char *name, Operation &operation) {
  operation = reinterpret_cast<Operation>(dlsym(library, name));
  return operation != nullptr;
}

bool load(Crypto &crypto) {
  void *library = dlopen("libcrypto.so.3", RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) log_debug("%s", dlerror());
  return library != nullptr && find(library, "BIO_new", crypto.bio_new) &&
         find(library, "BIO_f_base64", crypto.bio_f_base64) && find(library, "BIO_s_mem", crypto.bio_s_mem) &&
         find(library, "BIO_push", crypto.bio_push) && find(library, "BIO_set_flags", crypto.bio_set_flags) &&
         find(library, "BIO_write", crypto.bio_write) && find(library, "BIO_ctrl", crypto.bio_ctrl) &&
         find(library, "BIO_free_all", crypto.bio_free_all);
}

// Loads libcrypto at the first call. Null when it is missing or lacks a function.
const Crypto *libcrypto() {
  static Crypto crypto;
  static std::optional<bool> loaded;  // unset before the first call
  if (!loaded) loaded = load(crypto);
  return *loaded ? &crypto : nullptr;
}

struct FreeChain {
  void operator()(BIO *chain) const { libcrypto()->bio_free_all(chain); }
};
using Chain = std::unique_ptr<BIO, FreeChain>;

}  // namespace

SecretString base64_encode(const void *bytes, int32_t length) {
  const Crypto *crypto = libcrypto();
  if (crypto == nullptr) return nullptr;
  Chain chain(crypto->bio_new(crypto->bio_f_base64()));
  BIO *memory = crypto->bio_new(crypto->bio_s_mem());
  if (chain == nullptr || memory == nullptr) {
    Chain unused(memory);
    return nullptr;
  }
  crypto->bio_push(chain.get(), memory);
  crypto->bio_set_flags(chain.get(), BIO_FLAGS_BASE64_NO_NL);
  if (length > 0 && crypto->bio_write(chain.get(), bytes, length) != length) return nullptr;
  if (crypto->bio_ctrl(chain.get(), BIO_CTRL_FLUSH, 0, nullptr) != 1) return nullptr;

  char *encoded = nullptr;
  long encoded_length = crypto->bio_ctrl(memory, BIO_CTRL_INFO, 0, &encoded);
  if (encoded_length < 0) return nullptr;
  auto size = static_cast<size_t>(encoded_length);
  SecretString copy(static_cast<char *>(calloc(size + 1, 1)));
  if (copy != nullptr && size > 0) memcpy(copy.get(), encoded, size);
  return copy;
}

SecretString base64_secret(const char *string) {
  if (string == nullptr) return nullptr;
  SecretString encoded = base64_encode(string, static_cast<int32_t>(strlen(string)));
  if (encoded == nullptr) return nullptr;
  char *marked = nullptr;
  xasprintf(&marked, "0s%s", encoded.get());
  return SecretString(marked);
}
