// The certificate that the TLS listener shows its clients.
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <array>
#include <boost/json/array.hpp>
#include <ctime>
#include <memory>

#include "host/web/ht_HttpServer.h"
#include "web/wb_Messages.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::object;
using http::Response;

namespace {

constexpr const char* service = "/redfish/v1/CertificateService";
constexpr const char* replaceAction =
    "/redfish/v1/CertificateService/Actions/CertificateService.ReplaceCertificate";
constexpr const char* pattern = "/redfish/v1/Managers/{}/NetworkProtocol/HTTPS/Certificates/{}";

using X509Pointer = std::unique_ptr<X509, decltype(&X509_free)>;

X509Pointer parse(const std::string& pem) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
  return {PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr), X509_free};
}

std::string partOf(const X509_NAME* name, int kind) {
  std::array<char, 256> text{};
  const int size =
      X509_NAME_get_text_by_NID(name, kind, text.data(), static_cast<int>(text.size()));
  return size < 0 ? "" : text.data();
}

object named(const X509_NAME* name) {
  constexpr std::pair<const char*, int> parts[] = {
      {"CommonName", NID_commonName},
      {"Organization", NID_organizationName},
      {"OrganizationalUnit", NID_organizationalUnitName},
      {"City", NID_localityName},
      {"State", NID_stateOrProvinceName},
      {"Country", NID_countryName}};
  object shown;
  for (const auto& [key, kind] : parts) {
    const std::string text = partOf(name, kind);
    if (!text.empty()) shown[key] = text;
  }
  return shown;
}

std::string timeText(const ASN1_TIME* time) {
  std::tm parts{};
  std::array<char, 32> text{};
  ASN1_TIME_to_tm(time, &parts);
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text.data();
}

object certificateService(const Snapshot&, const Keys&) {
  return {{"Actions",
           object{{"#CertificateService.ReplaceCertificate", object{{"target", replaceAction}}}}}};
}

Keys certificates(const Snapshot& now, const Keys&) {
  return now.certificate.empty() ? Keys{} : Keys{"1"};
}

object certificate(const Snapshot& now, const Keys&) {
  const X509Pointer parsed = parse(now.certificate);
  if (parsed == nullptr) return {{"CertificateString", nullptr}, {"CertificateType", nullptr}};
  return {{"CertificateString", now.certificate},
          {"CertificateType", "PEMchain"},
          {"Subject", named(X509_get_subject_name(parsed.get()))},
          {"Issuer", named(X509_get_issuer_name(parsed.get()))},
          {"ValidNotBefore", timeText(X509_get0_notBefore(parsed.get()))},
          {"ValidNotAfter", timeText(X509_get0_notAfter(parsed.get()))}};
}

// The certificate that is meant: a link, or its path.
std::optional<Response> readUri(const Call& call) {
  const auto* given = call.body.if_contains("CertificateUri");
  if (given == nullptr) {
    return messageResponse("PropertyMissing", {"CertificateUri"}, "#/CertificateUri");
  }
  if (given->is_object()) given = given->as_object().if_contains("@odata.id");
  const std::string own = pathOf(pattern, {std::string(1, call.snapshot.letter), "1"});
  if (given != nullptr && given->is_string() && textOf(*given) == own) return std::nullopt;
  return messageResponse("ValueRefused", {"CertificateUri must be " + own}, "#/CertificateUri");
}

// What was given is told to nobody: it holds the key.
Response replaceCertificate(const Call& call) {
  std::optional<std::string> text, type;
  if (auto refusal = unknownIn(
          call.body, {"CertificateString", "CertificateType", "CertificateUri"}, {}, "#")) {
    return *refusal;
  }
  const auto* given = call.body.if_contains("CertificateString");
  if (given != nullptr && !given->is_string()) {
    return messageResponse("ValueRefused", {"CertificateString must be a text"},
                           "#/CertificateString");
  }
  if (auto refusal = readText(call.body, "CertificateString", true, text)) return *refusal;
  if (auto refusal = readText(call.body, "CertificateType", true, type)) return *refusal;
  if (*type != "PEM" && *type != "PEMchain") {
    return messageResponse("PropertyValueNotInList", {type->substr(0, 40), "CertificateType"},
                           "#/CertificateType");
  }
  if (auto refusal = readUri(call)) return *refusal;
  auto* server = http::HttpServer::getSingleton();
  const std::string refusal =
      server == nullptr ? "there is no listener" : server->replaceCertificate(*text);
  call.sources.audit.note(!refusal.empty(), call.request.user, call.request.address,
                          "replace the certificate of the TLS listener");
  if (refusal.empty()) return {.status = 204};
  return messageResponse("ValueRefused", {"CertificateString: " + refusal}, "#/CertificateString");
}

constexpr Resource resources[] = {
    {service, "CertificateService.v1_0_4.CertificateService", "Certificates", SystemAlone,
     certificateService},
    {pattern, "Certificate.v1_7_0.Certificate", "Certificate {}", Certificate, certificate,
     certificates, http::Access::Read, "Certificates of the TLS listener"},
};

constexpr Change changes[] = {
    {"POST", replaceAction, http::Access::Administer, SystemAlone, replaceCertificate},
};

}  // namespace

std::span<const Resource> certificateResources() { return resources; }
std::span<const Change> certificateChanges() { return changes; }

}  // namespace services::web
