// SPDX-License-Identifier: Apache-2.0
#include "client/file_server.h"
#include "client/server_port.h"

#include <algorithm>
#include <filesystem>
#include <httplib.h>
#include <mutex>
#include <thread>

namespace vxpctl
{
namespace
{

constexpr std::uint16_t port = 80;
constexpr std::size_t chunk = 64 * 1024; // bytes: how finely progress shows
constexpr std::size_t mostTransfers = 64;
constexpr int patience = 3;    // seconds, with a server that is not ours
constexpr int standstill = 60; // seconds, in which a device takes nothing of its file

struct Page {
    Page(std::string address, Content bytes) : device(std::move(address)), content(std::move(bytes)) {}
    const std::string device; // its address
    const Content content;
    std::atomic<std::size_t> sent{0};
};

// What is offered now, by name.
class Pages
{
public:
    void add(const std::string &name, std::shared_ptr<Page> page)
    {
        const std::lock_guard lock(m_mutex);
        m_pages[name] = std::move(page);
    }
    void remove(const std::string &name)
    {
        const std::lock_guard lock(m_mutex);
        m_pages.erase(name);
    }
    // Null for a name that is not there or is another device's.
    std::shared_ptr<Page> find(const std::string &name, const std::string &device)
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_pages.find(name);
        return found != m_pages.end() && found->second->device == device ? found->second : nullptr;
    }

private:
    std::map<std::string, std::shared_ptr<Page>> m_pages{};
    std::mutex m_mutex{};
};

class HttpOffer : public Offer
{
public:
    HttpOffer(Pages &pages, Guests &guests, std::string name, const IPv4_Address &device, Content content)
        : m_pages(pages), m_guests(guests), m_name(std::move(name)), m_device(device),
          m_page(std::make_shared<Page>(dotted(device), std::move(content)))
    {
        m_guests.admit(m_device);
        m_pages.add(m_name, m_page);
    }
    HttpOffer(const HttpOffer &) = delete;
    HttpOffer &operator=(const HttpOffer &) = delete;
    ~HttpOffer() override
    {
        m_pages.remove(m_name);
        m_guests.dismiss(m_device);
    }
    std::size_t sent() const override { return m_page->sent; }
    bool canTell() const override { return true; }

private:
    Pages &m_pages;
    Guests &m_guests;
    std::string m_name;
    IPv4_Address m_device;
    std::shared_ptr<Page> m_page;
};

sockaddr_in localName(int fd)
{
    sockaddr_in name{};
    socklen_t size = sizeof name;
    return getsockname(fd, reinterpret_cast<sockaddr *>(&name), &size) == 0 ? name : sockaddr_in{};
}

// What came of a listening socket of this name. The library waits for connections that stand still, and does not tell
// which it has.
void endConnections(const sockaddr_in &name)
{
    std::error_code unseen; // without /proc, it just takes longer
    for (std::filesystem::directory_iterator entry("/proc/self/fd", unseen), end; !unseen && entry != end;
         entry.increment(unseen)) {
        const int fd = std::stoi(entry->path().filename());
        const sockaddr_in local = localName(fd);
        if (local.sin_port == name.sin_port && local.sin_addr.s_addr == name.sin_addr.s_addr)
            shutdown(fd, SHUT_RDWR);
    }
}

class HttpServer : public FileServer
{
public:
    explicit HttpServer(const std::string &address)
    {
        bindServerPort(SOCK_STREAM, address, port); // closed again: it tells exactly what stands in the way
        m_server.new_task_queue = [] { return new httplib::ThreadPool(mostTransfers); };
        // A host that is not heard cannot fill the memory with a request that does not end.
        m_server.set_socket_options([this](int fd) {
            const int on = 1;
            setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
            m_guests.watch(fd);
            m_listening = fd;
        });
        m_server.set_write_timeout(standstill);
        // What is routed has its body read into memory first, whatever its size; an answer here leaves it unread, and
        // the connection must end then, or it would be taken for the next request.
        m_server.set_keep_alive_max_count(1);
        m_server.set_pre_routing_handler([](const auto &request, auto &response) {
            if (request.method == "GET" || request.method == "HEAD")
                return httplib::Server::HandlerResponse::Unhandled;
            response.status = 405;
            return httplib::Server::HandlerResponse::Handled;
        });
        m_server.Get("/(.*)", [this](const auto &request, auto &response) { answer(request, response); });
        if (!m_server.bind_to_port(address, port))
            throw Failure(ExitCode::localNetwork, {"port_in_use", "TCP port 80 has just been taken", "try again"});
        m_thread = std::jthread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running()) // until then, it could not be stopped
            std::this_thread::yield();
    }
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;
    ~HttpServer() override
    {
        const sockaddr_in name = localName(m_listening);
        m_server.stop();
        endConnections(name);
    }
    std::unique_ptr<Offer> offer(const std::string &name, const IPv4_Address &device, Content content) override
    {
        return std::make_unique<HttpOffer>(m_pages, m_guests, name, device, std::move(content));
    }

private:
    void answer(const httplib::Request &request, httplib::Response &response)
    {
        const auto page = m_pages.find(request.matches[1], request.remote_addr);
        if (!page) {
            response.status = 404;
            return;
        }
        response.set_content_provider(page->content->size(), "application/octet-stream",
                                      [page](std::size_t offset, std::size_t length, httplib::DataSink &sink) {
                                          const std::size_t size = std::min(length, chunk);
                                          const bool good = sink.write(page->content->data() + offset, size);
                                          page->sent = good ? offset + size : page->sent.load();
                                          return good;
                                      });
    }

    Pages m_pages{};
    Guests m_guests{};
    int m_listening = -1; // the library's
    httplib::Server m_server{};
    std::jthread m_thread{};
};

} // namespace

std::unique_ptr<FileServer> makeHttpServer(const std::string &address)
{
    return std::make_unique<HttpServer>(address);
}

bool isOnHttpServer(const std::string &address, const std::string &name)
{
    httplib::Client client(address, port);
    client.set_connection_timeout(patience);
    client.set_read_timeout(patience);
    const auto result = client.Head("/" + name);
    if (!result)
        throw Failure(ExitCode::localNetwork, {"no_server", "no HTTP server answers at " + address + ", port 80",
                                               "start it, or leave out --server: vxpctl then serves the file itself"});
    return result->status != 404;
}

} // namespace vxpctl
