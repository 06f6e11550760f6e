#include "kit/hostile/hazardous_names.h"

#include <algorithm>
#include <stdexcept>

#include "kit/files.h"
#include "kit/pictures/fixtures.h"
#include "kit/run_tool.h"

namespace vexathumb::kit {

void PrintTo(const HazardousName& hazard, std::ostream* out) { *out << hazard.name; }

const std::vector<HazardousName>& HazardousNames() {
  static const std::vector<HazardousName> kNames = {
      // Numbers and values that convert puts into names.
      {"percent_d", "%d", {"0", "1"}},
      {"percent_03d", "a%03d", {"a000", "a001"}},
      {"percent_o", "%o", {"0", "1"}},
      {"percent_x", "%x", {"0", "1"}},
      {"percent_percent_d", "%%d", {"%d", "%0", "0"}},
      {"percent_in_the_middle", "a-%d-b", {"a-0-b", "a-1-b"}},
      {"percent_at_the_end", "100%", {"100"}},
      {"percent_alone", "%", {"0"}},
      {"percent_d_after_digits", "100%d", {"1000", "1001", "100"}},
      {"percent_encoded", "%2e%2e", {"%2e"}},
      {"percent_s", "%s", {"s"}},
      {"percent_numbered", "%1$s", {"1"}},
      {"percent_n", "%n%n%n", {"1"}},
      {"percent_width", "%wx%h", {"400x300"}},
      {"fx_number", "%[fx:1]", {"1", "0"}},
      {"fx_width", "%[fx:w]", {"400"}},
      {"property", "%[EXIF:*]", {"*"}},
      {"filename", "%[filename:a]", {"a"}},
      // Patterns and choices of frames.
      {"frame_0", "a[0]", {"a", "a0"}},
      {"frame_1", "a[1]", {"a", "a1"}},
      {"frame_alone", "[0]", {"0"}},
      {"frame_of_a_frame", "a[0][0]", {"a", "a[0]"}},
      {"frame_behind_an_extension", "a.jpg[0]", {"a.jpg"}},
      {"set", "a[b]", {"a", "ab"}},
      {"set_of_digits", "a[0-9]", {"a", "a5"}},
      {"negated_set", "[!a]b", {"bb", "ab"}},
      {"geometry", "a[10x10]", {"a", "a1"}},
      {"crop", "a[10x10+1+1]", {"a"}},
      {"open_bracket", "a[b", {"a", "ab"}},
      {"closing_bracket", "a]b", {"a", "ab"}},
      {"star", "*", {"a", "b"}},
      {"star_inside", "a*b", {"ab", "axb"}},
      {"question_mark", "a?b", {"axb"}},
      {"question_mark_alone", "?", {"a", "b"}},
      {"braces", "{a,b}", {"a", "b"}},
      {"braces_inside", "a{b,c}d", {"abd", "acd"}},
      {"brace_range", "{0..3}", {"0", "1"}},
      {"lone_brace", "a{b", {"ab"}},
      // Formats and places.
      {"colon", "a:b", {"b"}},
      {"colon_alone", ":", {"a"}},
      {"format_png", "png:a", {"a"}},
      {"format_msl", "msl:a", {"a"}},
      {"format_mvg", "mvg:a", {"a"}},
      {"format_svg", "svg:a", {"a"}},
      {"extension_msl", "a.msl", {"a"}},
      {"extension_mvg", "a.mvg", {"a"}},
      {"extension_svg", "a.svg", {"a"}},
      {"format_text", "text:a", {"a"}},
      {"format_label", "label:a", {"a"}},
      {"format_inline", "inline:a", {"a"}},
      {"format_ephemeral", "ephemeral:a", {"a"}},
      {"format_https", "https:a", {"a"}},
      {"descriptor", "fd:1", {"1"}},
      {"standard_output", "png:-", {"-"}},
      {"at_sign", "@a", {"a"}},
      {"at_sign_alone", "@", {"a"}},
      // Options.
      {"dash", "-", {"a"}},
      {"dash_x", "-x", {"x"}},
      {"dash_o", "-o", {"o"}},
      {"dash_write", "-write", {"write"}},
      {"dash_outfile", "-outfile", {"outfile"}},
      {"two_dashes", "--", {"a"}},
      {"plus", "+a", {"a"}},
      // What a shell would take apart.
      {"tilde", "~", {"root"}},
      {"tilde_root", "~root", {"root"}},
      {"dollar", "$HOME", {"root"}},
      {"command", "$(id)", {"a"}},
      {"backticks", "`id`", {"a"}},
      {"semicolon", "a;b", {"a", "b"}},
      {"several_commands", "$(id);`id`&|", {"id"}},
      {"pipe", "|id", {"id"}},
      {"ampersand", "a&b", {"a", "b"}},
      {"redirection", ">a", {"a"}},
      {"hash", "#a", {"a"}},
      {"exclamation_mark", "!a", {"a"}},
      {"quote", "a'b", {"ab"}},
      {"double_quote", "a\"b", {"ab"}},
      {"backslash", "a\\b", {"ab"}},
      {"escaped_newline", "a\\n", {"a\n"}},
      {"blank", " ", {"a"}},
      {"blanks_around", " a ", {"a"}},
      {"blanks_inside", "a  b", {"a b"}},
      // What no terminal and no text should get.
      {"newline", "a\nb", {"a", "b"}},
      {"carriage_return", "a\rb", {"b"}},
      {"tab", "a\tb", {"a", "b"}},
      {"escape", "\x1b[31ma", {"a"}},
      {"delete", "a\x7f", {"a"}},
      {"not_utf8", "a\xff\xfe", {"a"}},
      {"half_utf8", "a\xe4\xb8", {"a"}},
      {"umlaut", "\xc3\xa4", {"a"}},
      {"overlong_slash",
       "a\xc0\xaf"
       "b",
       {"b"}},
      {"surrogate", "a\xed\xa0\x80", {"a"}},
      {"right_to_left",
       std::string("a\xe2\x80")
           .append("\xae"
                   "b"),
       {"ab"}},
      {"byte_order_mark",
       "\xef\xbb\xbf"
       "a",
       {"a"}},
      // Long and short.
      {"longest", std::string(251, 'n'), {std::string(250, 'n')}},
      {"longest_of_percents", std::string(251, '%'), {std::string(250, '%')}},
      {"dot_at_the_end", "a.", {"a"}},
      {"three_dots", "a...", {"a"}},
      {"markup", "<b>&amp;", {"b"}},
  };
  return kNames;
}

std::vector<HazardousName> HazardousNamesOf(const std::vector<std::string>& cases) {
  std::vector<HazardousName> names;
  for (const std::string& wanted : cases) {
    const auto name =
        std::find_if(HazardousNames().begin(), HazardousNames().end(),
                     [&](const HazardousName& other) { return other.name == wanted; });
    if (name == HazardousNames().end()) throw std::out_of_range("no hazardous name " + wanted);
    names.push_back(*name);
  }
  return names;
}

void WriteDecoy(const std::string& path) {
  // Drawn once and copied, and never through a path that a tool could take for something else.
  static const std::string kDecoy =
      RunTool({"/usr/bin/convert", "-size", "400x300", "xc:gray50", "png:-"});
  WriteFile(path, kDecoy);
}

}  // namespace vexathumb::kit
