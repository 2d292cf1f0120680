#pragma once

// Runs the sandbox checkout web application (demo/sandbox-webapp) as a child
// process with throw-away certificates, and reads where it listens. The
// server stops when this object goes (its stdin closes, then it is killed).

#include <gio/gio.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tandri/Json.hpp"

namespace tandri::demo {

class SandboxServer {
  public:
    /// Starts the server from `sourceDir` with certificates made in `workDir`; `autoMode` is the
    /// pages' automatic mode ("", "success", "cancel", "error" or "spinner-cancel"), and a
    /// `buttonStatus` other than 200 makes the button page answer with that HTTP status.
    bool start(const std::string& sourceDir, const std::string& workDir,
               const std::string& autoMode = "", int buttonStatus = 200) {
        std::string certs = workDir + "/certs";
        std::string gen =
            sourceDir + "/demo/sandbox-webapp/gen-certs.sh " + certs + " >/dev/null 2>&1";
        if (std::system(gen.c_str()) != 0) return false;
        leaf = certs + "/leaf.pem";
        std::string server = sourceDir + "/demo/sandbox-webapp/server.js";
        std::vector<const char*> argv{"node", server.c_str(), "--cert-dir", certs.c_str()};
        if (!autoMode.empty()) {
            argv.push_back("--auto");
            argv.push_back(autoMode.c_str());
        }
        const std::string status = std::to_string(buttonStatus);
        if (buttonStatus != 200) {
            argv.push_back("--button-status");
            argv.push_back(status.c_str());
        }
        argv.push_back(nullptr);
        process_ = g_subprocess_newv(
            argv.data(),
            GSubprocessFlags(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE),
            nullptr);
        if (process_ == nullptr) return false;
        GDataInputStream* lines = g_data_input_stream_new(g_subprocess_get_stdout_pipe(process_));
        char* line = g_data_input_stream_read_line(lines, nullptr, nullptr, nullptr);
        g_object_unref(lines);
        if (line == nullptr) return false;
        auto ports = json::parse(line);
        g_free(line);
        if (!ports || !ports->isDictionary()) return false;
        const auto& info = ports->asDictionary();
        auto text = [&info](const char* key) {
            const Value* v = info.find(key);
            return v && v->isString() ? v->asString() : std::string();
        };
        proxy = text("proxy");
        domain = text("domain");
        checkoutHost = text("checkoutHost");
        sandboxHost = text("sandboxHost");
        foreignHost = text("foreignHost");
        merchantHost = text("merchantHost");
        return !proxy.empty();
    }
    /// Every test host, for trusting the certificate.
    std::vector<std::string> hosts() const {
        return {checkoutHost, sandboxHost, foreignHost, merchantHost, domain};
    }
    ~SandboxServer() {
        if (process_ != nullptr) {
            g_subprocess_force_exit(process_);
            g_subprocess_wait(process_, nullptr, nullptr);
            g_object_unref(process_);
        }
    }

    std::string proxy, leaf, domain, checkoutHost, sandboxHost, foreignHost, merchantHost;

  private:
    GSubprocess* process_ = nullptr;
};

}  // namespace tandri::demo
