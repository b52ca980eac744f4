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
  WebSocketConnection(beast::tcp_stream stream, std::shared_ptr<MessageReceiver> receiver,
                      Network& network, std::unique_ptr<ConnectionCount> count)
      : socket_(std::move(stream)),
        receiver_(std::move(receiver)),
        network_(network),
        count_(std::move(count)) {}

  void run(const RequestHead& head) {
    beast::get_lowest_layer(socket_).expires_never();
    limitSilence(network_.limits.silence);
    socket_.read_message_max(network_.limits.messageBytes);
    socket_.text(true);
    socket_.async_accept(head, [self = shared_from_this()](Error error) {
      if (error) return self->end();
      self->isOpen_ = true;
      const auto receiver = self->receiver_;
      receiver->opened(self);
      if (!self->hasEnded_) self->read();
    });
  }

  void send(std::shared_ptr<const std::string> message) override {
    if (!isOpen_ || isClosing_) return;
    const bool isFull =
        !waiting_.empty() && (waitingBytes_ + message->size() > network_.limits.waitingBytes ||
                              waiting_.size() >= network_.limits.waitingMessages);
    // A browser that comes back is told what it has missed.
    if (isFull) return end();
    waitingBytes_ += message->size();
    waiting_.push_back(std::move(message));
    if (waiting_.size() == 1) write();
  }

  void sendLast(std::string message) override {
    send(std::make_shared<const std::string>(std::move(message)));
    isClosing_ = true;
    if (waiting_.empty()) close();
  }

  void readOn() override {
    if (!std::exchange(isHeld_, false) || hasEnded_) return;
    limitSilence(network_.limits.silence);
    read();
  }

 private:
  void limitSilence(websocket::stream_base::duration most) {
    websocket::stream_base::timeout timeout{};
    timeout.handshake_timeout = network_.limits.headTime;
    timeout.idle_timeout = most;
    timeout.keep_alive_pings = true;
    socket_.set_option(timeout);
  }

  void read() {
    socket_.async_read(buffer_, [self = shared_from_this()](Error error, std::size_t) {
      if (error || !self->socket_.got_text()) return self->end();
      auto message = beast::buffers_to_string(self->buffer_.cdata());
      self->buffer_.consume(self->buffer_.size());
      // Set first: the answer may come while the message is handed over.
      self->isHeld_ = true;
      const auto receiver = self->receiver_;
      if (receiver && receiver->received(*self, std::move(message))) return self->readOn();
      // Answers to pings are not read either.
      if (self->isHeld_) self->limitSilence(websocket::stream_base::none());
    });
  }

  void write() {
    socket_.async_write(asio::buffer(*waiting_.front()),
                        [self = shared_from_this()](Error error, std::size_t) {
                          if (error) return self->end();
                          self->waitingBytes_ -= self->waiting_.front()->size();
                          self->waiting_.pop_front();
                          if (!self->waiting_.empty())
                            self->write();
                          else if (self->isClosing_)
                            self->close();
                        });
  }

  void close() {
    if (!isOpen_) return;
    socket_.async_close(websocket::close_code::normal,
                        [self = shared_from_this()](Error) { self->end(); });
  }

  /// Gives the connection up, as it is.
  void end() {
    if (std::exchange(hasEnded_, true)) return;
    beast::get_lowest_layer(socket_).close();
    const bool wasOpen = std::exchange(isOpen_, false);
    // The operation under way still holds the first of them.
    if (waiting_.size() > 1) waiting_.resize(1);
    if (wasOpen) receiver_->closed(*this);
    receiver_.reset();
  }

  websocket::stream<beast::tcp_stream> socket_;
  std::shared_ptr<MessageReceiver> receiver_;
  Network& network_;
  std::unique_ptr<ConnectionCount> count_;
  beast::flat_buffer buffer_;
  std::deque<std::shared_ptr<const std::string>> waiting_;
  std::size_t waitingBytes_ = 0;
  bool isOpen_ = false;
  /// Reading waits for `readOn`.
  bool isHeld_ = false;
  bool isClosing_ = false;
  bool hasEnded_ = false;
};

}  // namespace

void serveWebSocket(beast::tcp_stream stream, const RequestHead& head,
                    std::shared_ptr<MessageReceiver> receiver, Network& network,
                    std::unique_ptr<ConnectionCount> count) {
  std::make_shared<WebSocketConnection>(std::move(stream), std::move(receiver), network,
                                        std::move(count))
      ->run(head);
}

}  // namespace vecamera::simulator
