// tevra bigint: random primes and one-shot big-integer arithmetic.
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include "TEVRA_BigInteger.h"
#include "cli.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: tevra bigint prime --bits N [--safe] [--two-top-bits] [--fast]\n"
    "       tevra bigint eval OP A B [M]\n"
    "\n"
    "prime  prints a random prime of exactly N bits (2 to 65536) drawn from the\n"
    "       system's random source. --safe: (p - 1) / 2 is prime too; --two-top-bits:\n"
    "       the two highest bits are set; --fast: fewer test rounds.\n"
    "eval   applies OP to A and B and prints the result in decimal and hex.\n"
    "       OP is add, sub, mul, div (truncating quotient), mod, gcd, lcm,\n"
    "       powmod (A^B mod M) or invmod (inverse of A modulo B).\n"
    "       Numbers are decimal or 0x-prefixed hex, optionally negative.\n";

constexpr long kMaxPrimeBits = 65536;

using Big = cli::Owned<TEVRA_BigInteger, tevra_biginteger_free>;

int hex_digit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Parses "[-]DIGITS" or "[-]0xHEXDIGITS"; NULL for anything else.
Big parse_number(const std::string &text) {
    size_t i = 0;
    bool negative = !text.empty() && text[0] == '-';
    if (negative)
        i = 1;
    if (text.compare(i, 2, "0x") == 0 || text.compare(i, 2, "0X") == 0) {
        std::string digits = text.substr(i + 2);
        if (digits.empty())
            return Big();
        if (digits.size() % 2 != 0)
            digits.insert(0, 1, '0');
        std::vector<unsigned char> bytes;
        for (size_t k = 0; k < digits.size(); k += 2) {
            int hi = hex_digit(digits[k]), lo = hex_digit(digits[k + 1]);
            if (hi < 0 || lo < 0)
                return Big();
            bytes.push_back(static_cast<unsigned char>(hi * 16 + lo));
        }
        Big n(tevra_biginteger_newunsigneddata(bytes.data(), static_cast<long>(bytes.size())));
        return negative && n ? Big(tevra_biginteger_neg(n.get())) : std::move(n);
    }
    if (i == text.size())
        return Big();
    for (size_t k = i; k < text.size(); ++k)
        if (text[k] < '0' || text[k] > '9')
            return Big();
    return Big(tevra_biginteger_newdec(text.c_str()));
}

// Decimal and hex lines for n; false when the library fails.
bool print_number(const TEVRA_BigInteger *n) {
    bool negative = tevra_biginteger_getsign(n) < 0;
    Big magnitude(negative ? tevra_biginteger_neg(n) : tevra_biginteger_dup(n));
    char *dec = nullptr;
    if (!magnitude || tevra_biginteger_unsigned_todec(magnitude.get(), &dec, nullptr) != 1)
        return false;
    std::string decimal = dec;
    tevra_free(dec);

    long width = (tevra_biginteger_getbitcount(magnitude.get()) + 7) / 8;
    if (width == 0)
        width = 1;
    std::vector<unsigned char> bytes(static_cast<size_t>(width));
    if (tevra_biginteger_unsigned_tonbuf(magnitude.get(), width, bytes.data()) != 1)
        return false;
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char b : bytes) {
        hex += digits[b >> 4];
        hex += digits[b & 15];
    }
    size_t first = hex.find_first_not_of('0');
    hex = first == std::string::npos ? "0" : hex.substr(first);

    const char *sign = negative ? "-" : "";
    return write_out(std::string(sign) + decimal + "\n" + sign + "0x" + hex + "\n");
}

// Calls read_some(at, size) until buf holds len bytes, done of which it
// already held, retrying interrupted calls. Returns the bytes it then holds.
template <class ReadSome> long gather(unsigned char *buf, long len, long done, ReadSome read_some) {
    while (done < len) {
        ssize_t got = read_some(buf + done, static_cast<size_t>(len - done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += got;
    }
    return done;
}

// Fills buf from the kernel's random source; 1 on success.
int system_random(void *, unsigned char *buf, long len) {
    long done =
        gather(buf, len, 0, [](unsigned char *at, size_t size) { return getrandom(at, size, 0); });
    if (done == len)
        return 1;
    // Older kernels lack getrandom; the device gives the same bytes.
    int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    done =
        gather(buf, len, done, [fd](unsigned char *at, size_t size) { return read(fd, at, size); });
    close(fd);
    return done == len ? 1 : 0;
}

int run_prime(const std::vector<std::string> &args) {
    Options opt;
    std::string error;
    std::vector<std::string> rest(args.begin() + 1, args.end());
    if (!opt.parse(
            rest,
            {{"--safe", false}, {"--two-top-bits", false}, {"--fast", false}, {"--bits", true}},
            error))
        return fail("bigint prime: " + error);
    if (!opt.operands.empty())
        return fail("bigint prime takes no operands, not '" + opt.operands[0] + "'");
    unsigned int flags = (opt.has("--safe") ? TEVRA_BIGINTEGER_PRIME_SAFE : 0) |
                         (opt.has("--two-top-bits") ? TEVRA_BIGINTEGER_PRIME_TWO_TOP : 0) |
                         (opt.has("--fast") ? TEVRA_BIGINTEGER_PRIME_FASTTEST : 0);
    const bool have_bits = opt.has("--bits");
    const std::string v = opt.value("--bits");
    if (have_bits &&
        (v.empty() || v.size() > 6 || v.find_first_not_of("0123456789") != std::string::npos))
        return fail("--bits must be a number from 2 to 65536, not '" + v + "'");
    long bits = have_bits ? std::stol(v) : 0;
    if (!have_bits)
        return fail("bigint prime needs --bits N");
    if (bits < 2 || bits > kMaxPrimeBits)
        return fail("--bits must be a number from 2 to 65536, not '" + std::to_string(bits) + "'");
    Big p(tevra_biginteger_newprime(system_random, nullptr, bits, flags));
    if (!p)
        return fail("no prime of " + std::to_string(bits) + " bits with these options");
    return print_number(p.get()) ? 0 : fail_run("cannot print the result");
}

TEVRA_BigInteger *quotient(const TEVRA_BigInteger *a, const TEVRA_BigInteger *b) {
    return tevra_biginteger_div(a, b, nullptr);
}

// The operations of eval that take two numbers.
struct BinaryOp {
    const char *name;
    TEVRA_BigInteger *(*apply)(const TEVRA_BigInteger *, const TEVRA_BigInteger *);
};

const BinaryOp kBinary[] = {{"add", tevra_biginteger_add}, {"sub", tevra_biginteger_sub},
                            {"mul", tevra_biginteger_mul}, {"div", quotient},
                            {"mod", tevra_biginteger_mod}, {"gcd", tevra_biginteger_gcd},
                            {"lcm", tevra_biginteger_lcm}, {"invmod", tevra_biginteger_invmod}};

int run_eval(const std::vector<std::string> &args) {
    if (args.size() < 2)
        return fail("bigint eval needs OP A B [M]");
    const std::string &op = args[1];
    const bool ternary = op == "powmod";
    const BinaryOp *binary = nullptr;
    for (const BinaryOp &candidate : kBinary)
        if (op == candidate.name)
            binary = &candidate;
    if (!ternary && binary == nullptr)
        return fail("bigint eval: unknown operation '" + op + "'");
    size_t want = ternary ? 5 : 4;
    if (args.size() != want)
        return fail("bigint eval " + op + " takes " + (ternary ? "three" : "two") + " numbers");

    std::vector<Big> v;
    for (size_t i = 2; i < args.size(); ++i) {
        v.push_back(parse_number(args[i]));
        if (!v.back())
            return fail("invalid number '" + args[i] + "'");
    }
    const TEVRA_BigInteger *a = v[0].get(), *b = v[1].get();
    const bool divides = op == "div" || op == "mod" || op == "invmod";
    if (divides && tevra_biginteger_getsign(b) == 0)
        return fail(op == "div" ? "division by zero" : "modulus must not be zero");
    if (ternary && tevra_biginteger_getsign(v[2].get()) == 0)
        return fail("modulus must not be zero");

    Big r(ternary ? tevra_biginteger_expmod(a, b, v[2].get()) : binary->apply(a, b));
    if (!r) {
        if (op == "invmod" || op == "powmod")
            return fail("no inverse: the base and the modulus are not coprime");
        return fail("out of memory");
    }
    return print_number(r.get()) ? 0 : fail_run("cannot print the result");
}

} // namespace

int cmd_bigint(const std::vector<std::string> &args) {
    if (wants_help(args))
        return usage(kUsage);
    if (args.empty())
        return fail("bigint needs a subcommand: prime or eval (see 'tevra bigint --help')");
    if (args[0] == "prime")
        return run_prime(args);
    if (args[0] == "eval")
        return run_eval(args);
    return fail("bigint: unknown subcommand '" + args[0] + "'");
}

} // namespace cli
