#include "emulator/DashboardServer.hpp"

#include <httplib.h>
#include <sys/socket.h>

#include <charconv>
#include <chrono>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <stdexcept>

#include "emulator/DashboardApi.hpp"
#include "emulator/DashboardAssets.hpp"
#include "emulator/EmulatedUnit.hpp"

namespace vantoemu {

namespace {

using nlohmann::json;

// A new stream starts with this much history, so the event tail is never empty on arrival.
constexpr std::size_t STREAM_HISTORY = 200;
// Proxies and browsers drop streams that stay quiet too long.
constexpr auto KEEP_ALIVE = std::chrono::seconds(15);
// A stream writes at most this often, so a burst of frames costs one write and one wake-up,
// not one per event; a person watching sees no delay.
constexpr auto STREAM_BATCH = std::chrono::milliseconds(100);

void sendJson(httplib::Response& res, const json& body, int status = 200) {
    res.status = status;
    res.set_content(body.dump(-1, ' ', false, json::error_handler_t::replace), "application/json");
}

void refuse(httplib::Response& res, int status, const std::string& why) {
    sendJson(res, {{"error", why}}, status);
}

bool isPostPath(const std::string& path) {
    return path == "/api/faults" || path == "/api/drawer" || path == "/api/restart";
}

std::set<std::string> splitKinds(const std::string& text) {
    std::set<std::string> kinds;
    std::size_t start = 0;
    while (start <= text.size()) {
        const auto comma = text.find(',', start);
        const auto end = comma == std::string::npos ? text.size() : comma;
        if (end > start) {
            kinds.insert(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return kinds;
}

std::vector<std::uint8_t> readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

DashboardServer::DashboardServer(EmulatedUnit& unit, EventLog& log, DashboardOptions options)
    : mUnit(unit),
      mLog(log),
      mOptions(std::move(options)),
      mServer(std::make_unique<httplib::Server>()),
      mFeed(std::make_shared<DashboardFeed>()) {}

DashboardServer::~DashboardServer() {
    stop();
}

std::string DashboardServer::url() const {
    std::string host = mOptions.bind;
    if (DashboardAccess::isWildcard(host)) {
        host = host.find(':') != std::string::npos ? "::1" : "127.0.0.1";
    }
    if (host.find(':') != std::string::npos) {
        host = "[" + host + "]";
    }
    return "http://" + host + ":" + std::to_string(mPort) + "/";
}

void DashboardServer::start() {
    if (!DashboardAccess::isNumericAddress(mOptions.bind)) {
        throw std::runtime_error("the dashboard's address \"" + mOptions.bind +
                                 "\" is not an IPv4 or IPv6 address");
    }
    // The one name accepted is bound as its address, so nothing is looked up.
    if (mOptions.bind.find_first_not_of("0123456789.:abcdefABCDEF") != std::string::npos) {
        mOptions.bind = "127.0.0.1";
    }
    auto& server = *mServer;
    server.new_task_queue = [] { return new httplib::ThreadPool(STREAMS + 4); };
    server.set_payload_max_length(BODY_LIMIT);
    // The library's default also sets SO_REUSEPORT, with which a second dashboard on a port
    // already in use would share it silently instead of failing.
    server.set_socket_options([](socket_t sock) {
        int on = 1;
        ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    server.set_keep_alive_timeout(2);
    server.set_read_timeout(5);
    server.set_write_timeout(5);
    server.set_default_headers({
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "no-referrer"},
        {"Cache-Control", "no-store"},
        {"Content-Security-Policy",
         "default-src 'self'; img-src 'self'; style-src 'self'; script-src 'self'; "
         "connect-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'"},
    });
    routes();

    int port = -1;
    if (mOptions.port == 0) {
        port = server.bind_to_any_port(mOptions.bind);
    } else if (server.bind_to_port(mOptions.bind, mOptions.port)) {
        port = mOptions.port;
    }
    if (port <= 0) {
        throw std::runtime_error("cannot serve the dashboard on " + mOptions.bind + ":" +
                                 std::to_string(mOptions.port) +
                                 " (address not available or port in use)");
    }
    mPort = static_cast<std::uint16_t>(port);
    mAccess = std::make_unique<DashboardAccess>(mOptions.bind, mPort);

    for (const auto& event : mLog.events()) {
        mFeed->push(event);
    }
    mListener = mLog.addListener([feed = mFeed](const UnitEvent& event) { feed->push(event); });
    mThread = std::thread([this] { mServer->listen_after_bind(); });
    // The library's stop() only reaches a server whose accept loop has begun; one stopped
    // earlier would wait in accept for ever.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!mServer->is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    mLog.record("dashboard", {{"url", url()}});
}

void DashboardServer::stop() {
    if (mListener != 0) {
        mLog.removeListener(mListener);
        mListener = 0;
    }
    mFeed->close();
    mServer->stop();
    if (mThread.joinable()) {
        mThread.join();
    }
}

void DashboardServer::routes() {
    auto& server = *mServer;

    // Every request passes here before it is routed: the checks that keep other sites out.
    server.set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
        using R = httplib::Server::HandlerResponse;
        if (!req.has_header("Host") || !mAccess->hostAllowed(req.get_header_value("Host"))) {
            refuse(res, 403, "this dashboard answers only to the address it listens on");
            return R::Handled;
        }
        const bool read = req.method == "GET" || req.method == "HEAD";
        if (isPostPath(req.path)) {
            if (req.method != "POST") {
                res.set_header("Allow", "POST");
                refuse(res, 405, "changes are made with POST");
                return R::Handled;
            }
            if (req.has_header("Origin") &&
                !mAccess->originAllowed(req.get_header_value("Origin"))) {
                refuse(res, 403, "changes are accepted only from the dashboard's own page");
                return R::Handled;
            }
            const auto type = req.get_header_value("Content-Type");
            if (type.rfind("application/json", 0) != 0) {
                refuse(res, 415, "changes are sent as application/json");
                return R::Handled;
            }
        } else if (!read) {
            res.set_header("Allow", "GET, HEAD");
            refuse(res, 405, "only GET is served here");
            return R::Handled;
        }
        return R::Unhandled;
    });
    server.set_error_handler(
        httplib::Server::HandlerWithResponse([](const httplib::Request&, httplib::Response& res) {
            if (res.body.empty()) {
                refuse(res, res.status,
                       res.status == 413 ? "request body too large"
                                         : "HTTP " + std::to_string(res.status));
            }
            return httplib::Server::HandlerResponse::Handled;
        }));
    server.set_exception_handler(
        [](const httplib::Request&, httplib::Response& res, std::exception_ptr error) {
            std::string what = "internal error";
            try {
                std::rethrow_exception(error);
            } catch (const std::exception& e) {
                what = e.what();
            } catch (...) {
            }
            refuse(res, 500, what);
        });

    auto asset = [](const std::string& name, httplib::Response& res) {
        const auto* found = DashboardAssets::find(name);
        if (found == nullptr) {
            refuse(res, 404, "no such page");
            return;
        }
        res.set_content(std::string(found->body), std::string(found->contentType));
    };
    server.Get("/", [asset](const httplib::Request&, httplib::Response& res) {
        asset("index.html", res);
    });
    server.Get("/favicon.ico", [asset](const httplib::Request&, httplib::Response& res) {
        asset("favicon.svg", res);
    });
    // Only names of compiled-in files match; nothing here ever touches the disk.
    server.Get(R"(/([a-z]+\.(js|css|svg)))",
               [asset](const httplib::Request& req, httplib::Response& res) {
                   asset(req.matches[1].str(), res);
               });

    server.Get("/api/state", [this](const httplib::Request&, httplib::Response& res) {
        sendJson(res, DashboardApi::state(mUnit));
    });
    server.Get("/api/receipts", [this](const httplib::Request& req, httplib::Response& res) {
        int after = 0;
        if (req.has_param("after")) {
            const auto text = req.get_param_value("after");
            const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), after);
            if (ec != std::errc() || end != text.data() + text.size() || after < 0) {
                refuse(res, 400, "after must be a receipt number");
                return;
            }
        }
        sendJson(res, DashboardApi::receipts(mUnit, after));
    });
    server.Get(R"(/api/receipts/([0-9]{1,9})\.(png|txt))",
               [this](const httplib::Request& req, httplib::Response& res) {
                   const int number = std::stoi(req.matches[1].str());
                   const auto receipt = mUnit.receipt(number);
                   if (!receipt) {
                       refuse(res, 404, "receipt " + std::to_string(number) + " is not in memory");
                       return;
                   }
                   if (req.matches[2].str() == "txt") {
                       res.set_content(receipt->rendered.text, "text/plain; charset=utf-8");
                       return;
                   }
                   // The newest receipts keep their PNG in memory; older ones in their file,
                   // whose path the unit chose when it wrote it.
                   auto png = receipt->rendered.png;
                   if (png.empty() && !receipt->pngPath.empty()) {
                       png = readWhole(receipt->pngPath);
                   }
                   if (png.empty()) {
                       refuse(res, 404, "receipt " + std::to_string(number) + " has no picture");
                       return;
                   }
                   res.set_content(std::string(png.begin(), png.end()), "image/png");
               });

    server.Get("/api/events", [this](const httplib::Request& req, httplib::Response& res) {
        if (mStreams.fetch_add(1) >= STREAMS) {
            --mStreams;
            refuse(res, 503, "too many event streams open");
            return;
        }
        std::uint64_t cursor = mFeed->recentStart(STREAM_HISTORY);
        if (req.has_header("Last-Event-ID")) {
            const auto text = req.get_header_value("Last-Event-ID");
            std::uint64_t id = 0;
            const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), id);
            if (ec == std::errc() && end == text.data() + text.size()) {
                cursor = id;
            }
        }
        auto kinds = splitKinds(req.get_param_value("kinds"));
        res.set_header("X-Accel-Buffering", "no");
        auto lastWrite = std::chrono::steady_clock::now();
        bool greeted = false;
        res.set_chunked_content_provider(
            "text/event-stream",
            [feed = mFeed, cursor, kinds, lastWrite, greeted](std::size_t,
                                                              httplib::DataSink& sink) mutable {
                std::string out;
                if (!greeted) {
                    // Sent at once, so the browser sees the stream open before any event.
                    out = "retry: 1000\n\n";
                    greeted = true;
                } else {
                    const auto since = std::chrono::steady_clock::now() - lastWrite;
                    if (since < STREAM_BATCH) {
                        std::this_thread::sleep_for(STREAM_BATCH - since);
                    }
                    const auto entries = feed->after(cursor, std::chrono::seconds(1));
                    if (feed->closed()) {
                        sink.done();
                        return true;
                    }
                    for (const auto& entry : entries) {
                        cursor = entry.id;
                        if (!kinds.empty() && kinds.count(entry.kind) == 0) {
                            continue;
                        }
                        out += "id: " + std::to_string(entry.id) + "\ndata: " + entry.json + "\n\n";
                    }
                    const auto now = std::chrono::steady_clock::now();
                    if (out.empty() && now - lastWrite >= KEEP_ALIVE) {
                        out = ": keep-alive\n\n";
                    }
                }
                if (out.empty()) {
                    return true;
                }
                lastWrite = std::chrono::steady_clock::now();
                return sink.write(out.data(), out.size());
            },
            [streams = &mStreams](bool) { --*streams; });
    });

    auto change = [this](const httplib::Request& req, httplib::Response& res,
                         std::string (*apply)(EmulatedUnit&, const json&)) {
        const json body = json::parse(req.body, nullptr, false);
        if (body.is_discarded()) {
            refuse(res, 400, "the body is not JSON");
            return;
        }
        const std::string problem = apply(mUnit, body);
        if (!problem.empty()) {
            refuse(res, 400, problem);
            return;
        }
        sendJson(res, DashboardApi::state(mUnit));
    };
    server.Post("/api/faults", [change](const httplib::Request& req, httplib::Response& res) {
        change(req, res, &DashboardApi::changeFaults);
    });
    server.Post("/api/drawer", [change](const httplib::Request& req, httplib::Response& res) {
        change(req, res, &DashboardApi::changeDrawer);
    });
    server.Post("/api/restart", [change](const httplib::Request& req, httplib::Response& res) {
        change(req, res, &DashboardApi::restart);
    });
}

}  // namespace vantoemu
