#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <deque>
#include <utility>

#include "simulator/server/http/Network.h"

namespace vecamera::simulator {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using Error = boost::system::error_code;

class WebSocketConnection : public Peer, public std::enable_shared_from_this<WebSocketConnection> {
 public:
  WebSocketConnection(beast::tcp_stream stream, std::shared_ptr<MessageHandler> handler,
                      Network& network, std::unique_ptr<ConnectionCount> count)
      : socket_(std::move(stream)),
        handler_(std::move(handler)),
        network_(network),
        count_(std::move(count)) {}

  void accept(const Handshake& handshake) {
    beast::get_lowest_layer(socket_).expires_never();
    limitIdleTime(network_.limits.idleTimeout);
    socket_.read_message_max(network_.limits.messageBytes);
    socket_.text(true);
    if (auto protocol = handler_->subprotocol(); !protocol.empty())
      socket_.set_option(websocket::stream_base::decorator(
          [protocol = std::move(protocol)](websocket::response_type& response) {
            response.set(beast::http::field::sec_websocket_protocol, protocol);
          }));
    socket_.async_accept(handshake, [self = shared_from_this()](Error error) {
      if (error) return self->abort();
      self->isOpen_ = true;
      const auto handler = self->handler_;
      handler->onOpen(self);
      if (!self->hasEnded_) self->read();
    });
  }

  void send(std::shared_ptr<const std::string> message) override {
    if (!isOpen_ || isClosing_) return;
    const bool isFull =
        !queue_.empty() && (queuedBytes_ + message->size() > network_.limits.queuedBytes ||
                            queue_.size() >= network_.limits.queuedMessages);
    // A browser that comes back gets what it has missed.
    if (isFull) return abort();
    queuedBytes_ += message->size();
    queue_.push_back(std::move(message));
    if (queue_.size() == 1) write();
  }

  void sendAndClose(std::string message) override {
    send(std::make_shared<const std::string>(std::move(message)));
    isClosing_ = true;
    if (queue_.empty()) close();
  }

  void resumeReading() override {
    if (!std::exchange(isPaused_, false) || hasEnded_) return;
    limitIdleTime(network_.limits.idleTimeout);
    read();
  }

 private:
  void limitIdleTime(websocket::stream_base::duration max) {
    websocket::stream_base::timeout timeout{};
    timeout.handshake_timeout = network_.limits.headerTimeout;
    timeout.idle_timeout = max;
    timeout.keep_alive_pings = true;
    socket_.set_option(timeout);
  }

  void read() {
    socket_.async_read(buffer_, [self = shared_from_this()](Error error, std::size_t) {
      if (error || !self->socket_.got_text()) return self->abort();
      auto message = beast::buffers_to_string(self->buffer_.cdata());
      self->buffer_.consume(self->buffer_.size());
      // Set first: reading may be resumed while the message is handled.
      self->isPaused_ = true;
      const auto handler = self->handler_;
      if (handler && handler->onMessage(*self, std::move(message)) == Reading::proceed)
        return self->resumeReading();
      // Pongs are not read either.
      if (self->isPaused_) self->limitIdleTime(websocket::stream_base::none());
    });
  }

  void write() {
    socket_.async_write(asio::buffer(*queue_.front()),
                        [self = shared_from_this()](Error error, std::size_t) {
                          if (error) return self->abort();
                          self->queuedBytes_ -= self->queue_.front()->size();
                          self->queue_.pop_front();
                          if (!self->queue_.empty())
                            self->write();
                          else if (self->isClosing_)
                            self->close();
                        });
  }

  void close() {
    if (!isOpen_) return;
    socket_.async_close(websocket::close_code::normal,
                        [self = shared_from_this()](Error) { self->abort(); });
  }

  /// Drops the connection without a closing handshake.
  void abort() {
    if (std::exchange(hasEnded_, true)) return;
    beast::get_lowest_layer(socket_).close();
    const bool wasOpen = std::exchange(isOpen_, false);
    // The operation under way still holds the first of them.
    if (queue_.size() > 1) queue_.resize(1);
    if (wasOpen) handler_->onClose(*this);
    handler_.reset();
  }

  websocket::stream<beast::tcp_stream> socket_;
  std::shared_ptr<MessageHandler> handler_;
  Network& network_;
  std::unique_ptr<ConnectionCount> count_;
  beast::flat_buffer buffer_;
  std::deque<std::shared_ptr<const std::string>> queue_;
  std::size_t queuedBytes_ = 0;
  bool isOpen_ = false;
  /// Reading waits for `resumeReading`.
  bool isPaused_ = false;
  bool isClosing_ = false;
  bool hasEnded_ = false;
};

}  // namespace

void serveWebSocket(beast::tcp_stream stream, const Handshake& handshake,
                    std::shared_ptr<MessageHandler> handler, Network& network,
                    std::unique_ptr<ConnectionCount> count) {
  std::make_shared<WebSocketConnection>(std::move(stream), std::move(handler), network,
                                        std::move(count))
      ->accept(handshake);
}

}  // namespace vecamera::simulator
