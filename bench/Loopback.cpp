#include "bench/Loopback.h"

namespace lingrelay::bench {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using Tcp = asio::ip::tcp;

} // namespace

Loopback::Loopback() : m_acceptor(m_context, Tcp::endpoint(asio::ip::address_v4::loopback(), 0)) { }

std::string Loopback::url() const
{
    return "ws://127.0.0.1:" + std::to_string(m_acceptor.local_endpoint().port()) + "/bench";
}

std::unique_ptr<Peer> Loopback::accept()
{
    auto peer = std::make_unique<Peer>(m_acceptor.accept());
    peer->next_layer().set_option(Tcp::no_delay(true));
    peer->accept();
    return peer;
}

std::unique_ptr<Peer> Loopback::connect(asio::io_context& context) const
{
    auto peer = std::make_unique<Peer>(context);
    peer->next_layer().connect(m_acceptor.local_endpoint());
    peer->next_layer().set_option(Tcp::no_delay(true));
    peer->handshake("127.0.0.1", "/bench");
    return peer;
}

std::string readMessage(Peer& peer)
{
    beast::flat_buffer buffer;
    beast::error_code error;
    peer.read(buffer, error);
    return error ? std::string() : beast::buffers_to_string(buffer.data());
}

bool writeText(Peer& peer, std::string const& text)
{
    beast::error_code error;
    peer.text(true);
    peer.write(asio::buffer(text), error);
    return !error;
}

} // namespace lingrelay::bench
