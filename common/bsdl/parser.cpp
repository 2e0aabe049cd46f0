#include "common/bsdl/parser.h"

#include "common/bsdl/lexer.h"
#include "common/bsdl/number.h"
#include "common/bsdl/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace talvor::bsdl {
namespace {

class Parser {
public:
    Parser(std::string_view text, Report& report)
        : lexer_(text, report), report_(report), most_borrowed_(text.size()) {}

    Source parse();

private:
    // Tokens.
    [[nodiscard]] const Token& peek() const noexcept { return lexer_.peek(); }
    [[nodiscard]] bool at_end() const noexcept { return peek().kind == TokenKind::End; }
    [[nodiscard]] bool at_name() const noexcept {
        return peek().kind == TokenKind::Name || peek().kind == TokenKind::Number;
    }
    Token take() { return lexer_.take(); }
    bool take_mark(std::string_view mark);
    bool take_word(std::string_view word);
    void fault(const std::string& expected, std::string next_step = {});
    void expect_mark(std::string_view mark, const std::string& where);
    void expect_word(std::string_view word, const std::string& where);
    Token expect_name(const std::string& expected);
    void skip_behind(std::string_view mark);
    [[nodiscard]] bool begins_declaration() const noexcept;

    // Parts of the file.
    void context();
    void package();
    bool package_end(std::string_view name);
    void entity();
    void entity_end();
    void rest();
    void declaration();
    void use_clause();
    void generics();
    void generic();
    void ports();
    void port();
    PortMode port_mode_of();
    std::optional<Bounds> port_type();
    Bounds bounds();
    int64_t bound();
    void attribute();
    void constant();
    std::string target();
    Value value(const std::string& of);
    JoinedText strings(const std::string& of);
    void string_or_constant(JoinedText& joined, const std::string& of);
    std::string words(const std::string& of);

    Lexer lexer_;
    Report& report_;
    // Bytes that strings may take from constants; these could double each other.
    size_t most_borrowed_;
    size_t borrowed_ = 0;
    Source source_;
};

// ---- tokens -----------------------------------------------------------------------------------

bool Parser::take_mark(std::string_view mark) {
    if (!peek().is(mark)) {
        return false;
    }
    (void)take();
    return true;
}

bool Parser::take_word(std::string_view word) {
    if (!peek().is_word(word)) {
        return false;
    }
    (void)take();
    return true;
}

void Parser::fault(const std::string& expected, std::string next_step) {
    report_.fail(peek().place, fmt::format("expected {}, found {}", expected, shown(peek())),
                 std::move(next_step));
    // The lexer sees the fault and gives nothing but the end from here on.
    (void)take();
}

void Parser::expect_mark(std::string_view mark, const std::string& where) {
    if (!take_mark(mark)) {
        fault(fmt::format("'{}' {}", mark, where));
    }
}

void Parser::expect_word(std::string_view word, const std::string& where) {
    if (!take_word(word)) {
        fault(fmt::format("'{}' {}", word, where));
    }
}

Token Parser::expect_name(const std::string& expected) {
    if (!at_name()) {
        fault(expected);
        return peek();
    }
    return take();
}

void Parser::skip_behind(std::string_view mark) {
    while (!at_end() && !take_mark(mark)) {
        (void)take();
    }
}

// What no value holds: a ';' was forgotten before it.
bool Parser::begins_declaration() const noexcept {
    constexpr std::array<std::string_view, 4> kWords{"attribute", "constant", "end", "use"};
    return std::any_of(kWords.begin(), kWords.end(),
                       [this](std::string_view word) { return peek().is_word(word); });
}

// ---- the file ---------------------------------------------------------------------------------

Source Parser::parse() {
    context();
    if (!peek().is_word("entity")) {
        fault("'entity'", "a BSDL file describes a device as an entity of VHDL");
    }
    entity();
    rest();
    return std::move(source_);
}

// What may stand before an entity.
void Parser::context() {
    for (;;) {
        if (peek().is_word("package")) {
            package();
        } else if (take_word("use")) {
            use_clause();
        } else if (take_word("library")) {
            skip_behind(";");
        } else {
            return;
        }
    }
}

void Parser::package() {
    const Place begin = take().place;
    (void)take_word("body");
    const Token name = expect_name("a name behind 'package'");
    expect_word("is", "behind the name of a package");
    while (!at_end()) {
        if (take_word("end")) {
            if (package_end(name.text)) {
                return;
            }
        } else {
            (void)take();
        }
    }
    report_.fail(begin, fmt::format("the package {} is not closed: expected 'end {};' before the "
                                    "end of the file",
                                    name.text, name.text));
}

// Behind "end": that of the package, or of something in it.
bool Parser::package_end(std::string_view name) {
    (void)take_word("package");
    (void)take_word("body");
    const bool whole = peek().is(";") || (at_name() && same_name(peek().text, name));
    if (!whole) {
        skip_behind(";");
        // One that calls the package by another name, where nothing else can follow.
        return at_end() || peek().is_word("package") || peek().is_word("entity");
    }
    if (at_name()) {
        (void)take();
    }
    expect_mark(";", "behind the end of a package");
    return true;
}

void Parser::entity() {
    expect_word("entity", "here");
    const Token name = expect_name("the name of the device behind 'entity'");
    source_.entity = name.text;
    source_.place = name.place;
    expect_word("is", "behind the name of the device");
    while (!at_end() && !peek().is_word("end")) {
        declaration();
    }
    if (at_end()) {
        fault(fmt::format("'end {};'", source_.entity));
        return;
    }
    entity_end();
}

void Parser::entity_end() {
    (void)take();
    (void)take_word("entity");
    if (at_name()) {
        const Token name = take();
        if (!same_name(name.text, source_.entity)) {
            report_.warning(name.place, fmt::format("the entity {} ends as {}", source_.entity,
                                                    shown(name.text)));
        }
    }
    if (!take_mark(";")) {
        report_.warning(peek().place, "a ';' is missing behind the end of the entity");
    }
}

// Behind the entity.
void Parser::rest() {
    context();
    if (!report_.failed() && !at_end()) {
        report_.warning(peek().place,
                        fmt::format("only the first entity, {}, is read; what stands behind it "
                                    "means nothing",
                                    source_.entity));
    }
}

void Parser::declaration() {
    if (take_word("generic")) {
        generics();
    } else if (take_word("port")) {
        ports();
    } else if (take_word("use")) {
        use_clause();
    } else if (take_word("attribute")) {
        attribute();
    } else if (take_word("constant")) {
        constant();
    } else if (at_name()) {
        fault("'generic', 'port', 'use', 'attribute', 'constant' or 'end'");
    } else {
        fault("a declaration or 'end'");
    }
}

// "use STD_1149_1_2001.all;", also "use work.STD_1149_1_2001.all, OTHER.all;".
void Parser::use_clause() {
    std::string_view last;
    while (!at_end() && !peek().is(";") && !begins_declaration()) {
        const Token token = take();
        if (token.kind == TokenKind::Name && !token.is_word("all")) {
            last = token.text;
        } else if (token.is_word("all") && !last.empty()) {
            source_.uses.push_back(std::exchange(last, {}));
        }
    }
    expect_mark(";", "behind a use clause");
}

// ---- generics and ports -----------------------------------------------------------------------

void Parser::generics() {
    expect_mark("(", "behind 'generic'");
    while (!at_end() && !peek().is(")")) {
        generic();
        if (!take_mark(";")) {
            break;
        }
    }
    expect_mark(")", "behind the generics");
    expect_mark(";", "behind the generics");
}

void Parser::generic() {
    const Token name = expect_name("the name of a generic");
    expect_mark(":", "behind the name of a generic");
    (void)take_word("in");
    (void)expect_name("the type of a generic");
    if (!take_mark(":=")) {
        return;
    }
    Value given;
    given.place = peek().place;
    if (peek().kind == TokenKind::Text) {
        given.is_text = true;
        given.text = strings("the generic");
    } else {
        given.words = take().text;
    }
    if (same_name(name.text, "PHYSICAL_PIN_MAP")) {
        source_.default_package = std::move(given);
    }
}

void Parser::ports() {
    expect_mark("(", "behind 'port'");
    while (!at_end() && !peek().is(")")) {
        port();
        if (peek().is(")")) {
            break;
        }
        expect_mark(";", "or ')' behind a port");
        if (peek().is(")")) {
            report_.warning(peek().place, "there is no port behind the last ';'");
        }
    }
    expect_mark(")", "behind the ports");
    expect_mark(";", "behind the ports");
}

// "A, B : inout bit_vector (0 to 7)".
void Parser::port() {
    const size_t first = source_.ports.size();
    (void)take_word("signal");
    do {
        const Token name = expect_name("the name of a port");
        source_.ports.push_back({name.text, PortMode::In, {}, name.place});
    } while (take_mark(","));
    expect_mark(":", "behind the name of a port");
    const PortMode mode = port_mode_of();
    const std::optional<Bounds> type = port_type();
    if (take_mark(":=")) {
        (void)take();
    }
    for (size_t i = first; i < source_.ports.size(); ++i) {
        source_.ports[i].mode = mode;
        source_.ports[i].bounds = type;
    }
}

PortMode Parser::port_mode_of() {
    if (at_name()) {
        if (const auto mode = port_mode(peek().text)) {
            (void)take();
            return *mode;
        }
        if (peek().is_word("bit") || peek().is_word("bit_vector")) {
            report_.warning(peek().place, "the port has no mode; it is taken for an 'in'");
            return PortMode::In;
        }
    }
    fault("the mode of a port ('in', 'out', 'inout', 'buffer', 'linkage' ...)");
    return PortMode::In;
}

// The bounds, of a vector.
std::optional<Bounds> Parser::port_type() {
    const Token type = expect_name("the type of a port, 'bit' or 'bit_vector'");
    const bool vector = type.is_word("bit_vector");
    if (!vector && !type.is_word("bit") && type.kind != TokenKind::End) {
        report_.warning(type.place, fmt::format("the type of a port is {}; expected 'bit' or "
                                                "'bit_vector'",
                                                shown(type.text)));
    }
    if (peek().is("(")) {
        return bounds();
    }
    if (vector) {
        fault("'(' and the bounds behind 'bit_vector'");
    }
    return std::nullopt;
}

Bounds Parser::bounds() {
    (void)take();
    Bounds given;
    given.left = bound();
    given.down = take_word("downto");
    if (!given.down) {
        expect_word("to", "or 'downto' between the bounds of a vector");
    }
    given.right = bound();
    expect_mark(")", "behind the bounds of a vector");
    return given;
}

int64_t Parser::bound() {
    const auto number =
        peek().kind == TokenKind::Number ? integer_value(peek().text) : std::nullopt;
    if (!number) {
        fault("a whole number as the bound of a vector");
        return 0;
    }
    (void)take();
    return *number;
}

// ---- attributes and constants -----------------------------------------------------------------

// "attribute NAME of TARGET : CLASS is VALUE;", and "attribute NAME : TYPE;", which says nothing.
void Parser::attribute() {
    const Token name = expect_name("the name of an attribute");
    if (take_mark(":")) {
        skip_behind(";");
        return;
    }
    expect_word("of", fmt::format("behind the attribute {}", name.text));
    Attribute made;
    made.name = name.text;
    made.place = name.place;
    made.target_place = peek().place;
    made.target = target();
    expect_mark(":", fmt::format("behind what the attribute {} is of", name.text));
    (void)expect_name("'entity' or 'signal'");
    expect_word("is", fmt::format("before the value of the attribute {}", name.text));
    made.value = value(fmt::format("of the attribute {}", name.text));
    source_.attributes.push_back(std::move(made));
}

std::string Parser::target() {
    std::string text(expect_name("the name of the device or of a port").text);
    while (!at_end() && !peek().is(":") && !peek().is(";")) {
        text += take().text;
    }
    return text;
}

void Parser::constant() {
    const Token name = expect_name("the name of a constant");
    expect_mark(":", "behind the name of a constant");
    const Token type = expect_name("the type of a constant");
    expect_mark(":=", fmt::format("before the value of the constant {}", name.text));
    source_.constants.push_back(
        {name.text, type.text, value(fmt::format("of the constant {}", name.text)), name.place});
}

// Up to the ';' and with it. `of`: "of the attribute PIN_MAP".
Value Parser::value(const std::string& of) {
    Value made;
    made.place = peek().place;
    made.is_text = peek().kind == TokenKind::Text;
    if (made.is_text) {
        made.text = strings(of);
    } else {
        made.words = words(of);
    }
    expect_mark(";", fmt::format("behind the value {}", of));
    return made;
}

JoinedText Parser::strings(const std::string& of) {
    JoinedText joined;
    string_or_constant(joined, of);
    for (;;) {
        if (take_mark("&")) {
            if (peek().is(";")) {
                report_.warning(peek().place,
                                fmt::format("there is nothing behind the last '&' {}", of));
                return joined;
            }
            string_or_constant(joined, of);
        } else if (peek().kind == TokenKind::Text) {
            report_.warning(peek().place,
                            fmt::format("a '&' is missing before this string {}", of));
            string_or_constant(joined, of);
        } else {
            return joined;
        }
    }
}

void Parser::string_or_constant(JoinedText& joined, const std::string& of) {
    if (peek().kind == TokenKind::Text) {
        joined.add(peek().text, peek().place);
        (void)take();
        return;
    }
    const auto known =
        std::find_if(source_.constants.begin(), source_.constants.end(), [this](const Constant& c) {
            return c.value.is_text && peek().is_word(c.name);
        });
    if (known == source_.constants.end()) {
        fault(fmt::format("a string {} behind '&'", of));
        return;
    }
    borrowed_ += known->value.text.text().size();
    if (borrowed_ > most_borrowed_) {
        report_.fail(peek().place, "the constants joined so far are longer than the file");
    } else {
        joined.add(known->value.text);
    }
    (void)take();
}

std::string Parser::words(const std::string& of) {
    std::string text;
    bool name_before = false;
    while (!at_end() && !peek().is(";") && !begins_declaration()) {
        const bool name = at_name();
        const Token token = take();
        text += name && name_before ? " " : "";
        text += token.kind == TokenKind::Text ? fmt::format("\"{}\"", token.text)
                                              : std::string(token.text);
        name_before = name;
    }
    if (text.empty()) {
        fault(fmt::format("the value {}", of));
    }
    return text;
}

} // namespace

Source parse_source(std::string_view text, Report& report) {
    return Parser(text, report).parse();
}

} // namespace talvor::bsdl
