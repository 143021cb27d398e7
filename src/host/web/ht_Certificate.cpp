// A self-signed certificate for the TLS listener.
#include "host/web/ht_Certificate.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <memory>

namespace services::http {

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

bool setSerial(X509* certificate) {
  constexpr int bits = 127;  // positive, and never the same twice
  const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(BN_new(), BN_free);
  return number != nullptr && BN_rand(number.get(), bits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) &&
         BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr;
}

bool setValidity(X509* certificate) {
  return ASN1_TIME_set_string_X509(X509_getm_notBefore(certificate), "19700101000000Z") &&
         ASN1_TIME_set_string_X509(X509_getm_notAfter(certificate), "99991231235959Z");
}

bool setNames(X509* certificate, const std::string& host) {
  X509_NAME* name = X509_get_subject_name(certificate);
  const auto* text = reinterpret_cast<const unsigned char*>(host.c_str());
  return X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0) &&
         X509_set_issuer_name(certificate, name);
}

bool addExtension(X509* certificate, int kind, const std::string& value) {
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str()), X509_EXTENSION_free);
  return extension != nullptr && X509_add_ext(certificate, extension.get(), -1);
}

bool addExtensions(X509* certificate, const std::string& host, const std::string& address) {
  return addExtension(certificate, NID_basic_constraints, "critical,CA:FALSE") &&
         addExtension(certificate, NID_key_usage, "critical,digitalSignature") &&
         addExtension(certificate, NID_ext_key_usage, "serverAuth") &&
         addExtension(certificate, NID_subject_alt_name,
                      "DNS:" + host + ",DNS:localhost,IP:" + address);
}

std::string asPem(const Key& key, const Certificate& certificate) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
  if (memory == nullptr ||
      !PEM_write_bio_PrivateKey(memory.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) ||
      !PEM_write_bio_X509(memory.get(), certificate.get())) {
    return "";
  }
  const char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

}  // namespace

std::string makeCertificate(const std::string& host, const std::string& address) {
  const Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  const Certificate certificate(X509_new(), X509_free);
  const bool made = key != nullptr && certificate != nullptr &&
                    X509_set_version(certificate.get(), X509_VERSION_3) &&
                    setSerial(certificate.get()) && setValidity(certificate.get()) &&
                    setNames(certificate.get(), host) &&
                    X509_set_pubkey(certificate.get(), key.get()) &&
                    addExtensions(certificate.get(), host, address) &&
                    X509_sign(certificate.get(), key.get(), EVP_sha256()) != 0;
  return made ? asPem(key, certificate) : "";
}

}  // namespace services::http
