#include "cli_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace cli {

namespace {

// errno of the first failed write to standard output, 0 while all went well.
int g_output_errno = 0;
bool g_output_reported = false;

std::string quoted(const std::string &path) {
    return "'" + path + "'";
}

bool is_stdin(const std::string &path) {
    return path.empty() || path == "-";
}

// Opens path for reading; -1 with a message naming it and the reason.
int open_read(const std::string &path, std::string &name, std::string &error) {
    if (is_stdin(path)) {
        name = "standard input";
        return STDIN_FILENO;
    }
    name = quoted(path);
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        error = "cannot open " + name + ": " + std::strerror(errno);
    return fd;
}

// Reads until buf holds n bytes or the input ends; the count read, or -1.
long read_fully(int fd, unsigned char *buf, size_t n) {
    size_t done = 0;
    while (done < n) {
        ssize_t got = ::read(fd, buf + done, n - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        done += static_cast<size_t>(got);
    }
    return static_cast<long>(done);
}

} // namespace

size_t chunk_size() {
    static const size_t size = [] {
        const char *text = std::getenv("TEVRA_CLI_CHUNK_SIZE");
        long n = text != nullptr ? std::atol(text) : 0;
        return n > 0 ? static_cast<size_t>(n) : size_t{1} << 16;
    }();
    return size;
}

int fail(const std::string &message) {
    std::fprintf(stderr, "tevra: %s\n", message.c_str());
    return 1;
}

int usage(const char *text) {
    std::fputs(text, stdout);
    return 0;
}

bool wants_help(const std::vector<std::string> &args) {
    for (const std::string &arg : args) {
        if (arg == "--")
            return false;
        if (arg == "-h" || arg == "--help")
            return true;
    }
    return false;
}

bool Options::parse(const std::vector<std::string> &args, std::initializer_list<OptionSpec> known,
                    std::string &error) {
    bool options_end = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &arg = args[i];
        if (options_end || arg.size() < 2 || arg[0] != '-') {
            operands.push_back(arg);
            continue;
        }
        if (arg == "--") {
            options_end = true;
            continue;
        }
        size_t eq = arg.find('=');
        std::string name = arg.substr(0, eq);
        const OptionSpec *option = nullptr;
        for (const OptionSpec &candidate : known)
            if (name == candidate.name)
                option = &candidate;
        if (option == nullptr) {
            error = "unknown option '" + name + "'";
            return false;
        }
        std::string value;
        if (eq != std::string::npos) {
            if (!option->takes_value) {
                error = "option " + name + " takes no value";
                return false;
            }
            value = arg.substr(eq + 1);
        } else if (option->takes_value) {
            if (i + 1 >= args.size()) {
                error = "option " + name + " needs a value";
                return false;
            }
            value = args[++i];
        }
        given_.emplace_back(name, value);
    }
    return true;
}

bool Options::has(const std::string &name) const {
    for (const auto &option : given_)
        if (option.first == name)
            return true;
    return false;
}

std::string Options::value(const std::string &name) const {
    std::string found;
    for (const auto &option : given_)
        if (option.first == name)
            found = option.second;
    return found;
}

bool Options::refuse(std::initializer_list<const char *> names, const std::string &what,
                     std::string &error) const {
    for (const char *name : names)
        if (has(name)) {
            error = "option " + std::string(name) + " does not apply to " + what;
            return false;
        }
    return true;
}

bool take_operation(Options &opt, const char *command, std::initializer_list<const char *> choices,
                    std::string &operation, std::string &error) {
    std::string list;
    for (const char *choice : choices) {
        list += (list.empty() ? "'" : " or '") + std::string(choice) + "'";
        if (!opt.operands.empty() && opt.operands[0] == choice)
            operation = choice;
    }
    if (!operation.empty()) {
        opt.operands.erase(opt.operands.begin());
        return true;
    }
    error = opt.operands.empty()
                ? std::string(command) + " needs " + list
                : "unknown " + std::string(command) + " operation '" + opt.operands[0] + "'";
    return false;
}

bool single_input(const Options &opt, const char *command, std::string &path, std::string &error) {
    if (opt.operands.size() > 1) {
        error = std::string(command) + " takes at most one file";
        return false;
    }
    path = opt.operands.empty() ? std::string() : opt.operands[0];
    return true;
}

bool read_whole(const std::string &path, std::string &data, std::string &error) {
    ChunkReader in;
    if (!in.open(path, error))
        return false;
    data.clear();
    while (in.next())
        data.append(reinterpret_cast<const char *>(in.data()), in.size());
    error = in.error();
    return !in.failed();
}

ChunkReader::ChunkReader(size_t capacity) : buffer_(capacity) {}

ChunkReader::~ChunkReader() {
    if (fd_ > STDIN_FILENO)
        ::close(fd_);
}

bool ChunkReader::open(const std::string &path, std::string &error) {
    fd_ = open_read(path, name_, error);
    return fd_ >= 0;
}

bool ChunkReader::next(size_t keep) {
    if (fd_ < 0 || failed())
        return false;
    keep = keep < size_ ? keep : size_;
    offset_ += size_ - keep;
    if (keep > 0)
        std::memmove(buffer_.data(), buffer_.data() + size_ - keep, keep);
    // A consumer keeping a whole chunk needs more room to make progress.
    if (keep == buffer_.size())
        buffer_.resize(buffer_.size() * 2);
    size_ = keep;
    if (eof_)
        return false;
    long got = read_fully(fd_, buffer_.data() + keep, buffer_.size() - keep);
    if (got < 0) {
        error_ = "cannot read " + name_ + ": " + std::strerror(errno);
        return false;
    }
    size_ += static_cast<size_t>(got);
    eof_ = size_ < buffer_.size();
    return got > 0;
}

bool write_out(const void *data, size_t length) {
    if (g_output_errno != 0)
        return false;
    if (length > 0 && std::fwrite(data, 1, length, stdout) != length) {
        g_output_errno = errno != 0 ? errno : EIO;
        return false;
    }
    return true;
}

bool write_out(const std::string &text) {
    return write_out(text.data(), text.size());
}

int output_failed() {
    if (!g_output_reported) {
        g_output_reported = true;
        fail(std::string("cannot write standard output: ") + std::strerror(g_output_errno));
    }
    return 1;
}

int fail_run(const std::string &message) {
    return g_output_errno != 0 ? output_failed() : fail(message);
}

int finish_output(int status) {
    errno = 0;
    bool flushed = std::fflush(stdout) == 0 && !std::ferror(stdout);
    if (!flushed && g_output_errno == 0)
        g_output_errno = errno != 0 ? errno : EIO;
    int close_errno = std::fclose(stdout) == 0 ? 0 : (errno != 0 ? errno : EIO);
    if (g_output_errno == 0)
        g_output_errno = close_errno;
    if (g_output_errno != 0)
        return output_failed();
    return status;
}

} // namespace cli
