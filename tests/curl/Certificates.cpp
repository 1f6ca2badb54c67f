#include "curl/Certificates.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>

namespace fliprugair::test {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File openFile(const std::string& file) { return {std::fopen(file.c_str(), "w"), &std::fclose}; }

void addExtension(X509* certificate, int kind, const std::string& text) {
  const std::unique_ptr<X509_EXTENSION, void (*)(X509_EXTENSION*)> extension(
      X509V3_EXT_conf_nid(nullptr, nullptr, kind, text.c_str()), &X509_EXTENSION_free);
  EXPECT_NE(extension, nullptr);
  X509_add_ext(certificate, extension.get(), -1);
}

}  // namespace

Certificate makeCertificate(const std::string& path, const std::string& subject, Validity validity) {
  constexpr long day = 24 * 60 * 60;
  const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
  const std::unique_ptr<X509, void (*)(X509*)> certificate(X509_new(), &X509_free);
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -2 * day);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validity == Validity::today ? day : -day);
  X509_set_pubkey(certificate.get(), key.get());
  X509_NAME* const distinguishedName = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(distinguishedName, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(subject.c_str()), -1, -1, 0);
  X509_set_issuer_name(certificate.get(), distinguishedName);
  addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
  addExtension(certificate.get(), NID_subject_alt_name, subject);
  EXPECT_GT(X509_sign(certificate.get(), key.get(), EVP_sha256()), 0);

  const Certificate files{path + ".crt", path + ".key"};
  EXPECT_EQ(PEM_write_X509(openFile(files.certificateFile).get(), certificate.get()), 1);
  EXPECT_EQ(PEM_write_PrivateKey(openFile(files.keyFile).get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr), 1);
  return files;
}

}  // namespace fliprugair::test
