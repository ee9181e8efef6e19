#include "lumora-doctor/EndpointCheck.hpp"

#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <memory>

#include "lumora-doctor/Findings.hpp"
#include "platform/net/CurlHttpSession.hpp"
#include "platform/net/CurlUrlToolkit.hpp"

namespace lumora::doctor {
namespace {

using platform::HttpResult;

constexpr const char* kHostRemedy = "write only the host and port, e.g. cdn.example.com:8443";

/// One URL to reach over TLS, named after the first setting that uses it.
struct Probe {
  std::string label;
  std::string url;
};

std::string groupName(const APIConfiguration& configuration) {
  return configuration.environment() == Environment::production ? "Production" : "Stage";
}

void addProbe(std::vector<Probe>& probes, std::string label, std::string url) {
  const bool known = std::any_of(probes.begin(), probes.end(),
                                 [&](const Probe& probe) { return probe.url == url; });
  if (!known) probes.push_back({std::move(label), std::move(url)});
}

void checkEventURL(const std::string& label, const std::string& url, Findings& findings,
                   std::vector<Probe>& probes) {
  const auto normalized = platform::CurlUrlToolkit().normalized(url);
  if (!normalized) {
    findings.error(label + " '" + url + "' is not an absolute URL",
                   "write it as https://host[:port]/path");
  } else if (normalized->starts_with("http://")) {
    findings.error(label + " '" + url + "' is cleartext http: events carry the client's identity",
                   "serve the events over https and write https://");
  } else if (!normalized->starts_with("https://")) {
    findings.error(label + " '" + url + "' is not an https URL", "write https://host[:port]/path");
  } else {
    addProbe(probes, label, *normalized);
  }
}

void checkCreativeHost(const APIConfiguration& configuration, Findings& findings,
                       std::vector<Probe>& probes) {
  const std::string label = groupName(configuration) + " CreativeCDNURL";
  const std::string& host = configuration.getCreativeCDNURL();
  const auto normalized = platform::CurlUrlToolkit().normalized("https://" + host + "/");
  if (host.find("://") != std::string::npos) {
    findings.error(label + " '" + host + "' has a scheme: the SDK puts https:// in front itself",
                   kHostRemedy);
  } else if (host.find('/') != std::string::npos) {
    findings.error(label + " '" + host + "' has a path: the path comes from CreativeBucketName",
                   kHostRemedy);
  } else if (host.empty() || !normalized) {
    findings.error(label + " '" + host + "' is not a host name", kHostRemedy);
  } else {
    addProbe(probes, label, *normalized);
  }
  if (configuration.getCreativeBucketName().empty()) {
    findings.error(groupName(configuration) + " CreativeBucketName is empty",
                   "name the bucket whose binding/ tree holds the creatives");
  }
}

std::string tlsRemedy(const platform::PlatformError& error) {
  if (error.code == CURLE_PEER_FAILED_VERIFICATION || error.code == CURLE_SSL_CACERT_BADFILE) {
    return "trust the server's CA in addition to the system store: "
           "LUMORA_CA_FILE=/path/to/ca.pem (a readable PEM file)";
  }
  return "check the host name, the port, the firewall and that the server speaks HTTPS";
}

/// Sends a HEAD to every probe at once; each ends within the timeout.
void reach(const std::vector<Probe>& probes, const std::optional<std::string>& caFile,
           std::chrono::milliseconds timeout, Findings& findings) {
  platform::CurlHttpSessionOptions options;
  options.extraCaFile = caFile;
  platform::CurlHttpSession session(options);
  std::vector<std::future<HttpResult>> results;
  for (const auto& probe : probes) {
    auto promise = std::make_shared<std::promise<HttpResult>>();
    results.push_back(promise->get_future());
    platform::HttpRequest request;
    request.url = probe.url;
    request.method = "HEAD";
    request.timeoutSeconds = std::chrono::duration<double>(timeout).count();
    session.dataTask(std::move(request),
                     [promise](HttpResult result) { promise->set_value(std::move(result)); });
  }
  for (std::size_t i = 0; i < probes.size(); ++i) {
    const HttpResult result = results[i].get();
    const std::string& url = probes[i].url;
    if (result.error) {
      findings.error(
          probes[i].label + " " + url + " unreachable: " + result.error->localizedDescription,
          tlsRemedy(*result.error));
    } else {
      const auto status = result.response ? result.response->statusCode : 0;
      findings.ok(url + " TLS ok (HTTP " + std::to_string(status) + ")");
    }
  }
}

}  // namespace

Check EndpointCheck::run(const std::vector<APIConfiguration>& environments,
                         const std::optional<std::string>& caFile,
                         std::chrono::milliseconds timeout) {
  Findings findings;
  if (environments.empty()) {
    findings.error("no endpoints to check", "make sdk.plist usable first");
    return findings.check("endpoints");
  }
  if (caFile) {
    if (access(caFile->c_str(), R_OK) != 0) {
      findings.error("LUMORA_CA_FILE '" + *caFile + "' is not readable",
                     "point LUMORA_CA_FILE at a readable PEM file, or unset it");
    } else {
      findings.ok("trusting the system store and LUMORA_CA_FILE " + *caFile);
    }
  }
  std::vector<Probe> probes;
  for (const auto& configuration : environments) {
    const std::string group = groupName(configuration);
    checkEventURL(group + " EventURL", configuration.getTrackingEventURL(), findings, probes);
    checkEventURL(group + " NoTrackingEventURL", configuration.getNoTrackingEventURL(), findings,
                  probes);
    checkCreativeHost(configuration, findings, probes);
  }
  reach(probes, caFile, timeout, findings);
  return findings.check("endpoints");
}

}  // namespace lumora::doctor
