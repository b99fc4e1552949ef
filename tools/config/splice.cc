#include "tools/config/splice.h"

#include <algorithm>

#include "util/strings.h"

namespace {

constexpr std::string_view spaces = " \t\r\n";

bool has_line_end(std::string_view gap) {
  return gap.find('\n') != std::string_view::npos;
}

// The spaces and line ends before a place.
std::string_view gap_before(std::string_view content, size_t place) {
  size_t before = content.substr(0, place).find_last_not_of(spaces);
  size_t from = before == std::string_view::npos ? 0 : before + 1;
  return content.substr(from, place - from);
}

// The indentation of the line that holds a place.
std::string indentation_at(std::string_view content, size_t place) {
  size_t line_end = content.substr(0, place).rfind('\n');
  size_t from = line_end == std::string_view::npos ? 0 : line_end + 1;
  size_t to = std::min(content.find_first_not_of(" \t", from), content.size());
  return std::string(content.substr(from, to - from));
}

std::string_view inside(std::string_view content, const Value &value) {
  return content.substr(value.begin + 1, value.end - value.begin - 2);
}

// How a document is laid out.
struct Layout {
  std::string line_end;
  std::string indentation;  // of the root's members
  std::string colon;        // between a name and its value
};

Layout layout_of(std::string_view content, const Value &root) {
  Layout layout{"\n", "  ", ": "};
  size_t line_end = content.find('\n');
  if (line_end != std::string_view::npos && line_end > 0 && content[line_end - 1] == '\r') layout.line_end = "\r\n";
  if (root.children.empty()) return layout;
  const Value &first = root.children.front();
  if (has_line_end(gap_before(content, first.start))) layout.indentation = indentation_at(content, first.start);
  if (first.name_end > 0) layout.colon = content.substr(first.name_end, first.begin - first.name_end);
  return layout;
}

bool is_in_lines(std::string_view content, const Value &value) {
  return has_line_end(gap_before(content, value.children.front().start));
}

// Counts containers of a type: counts[1] those whose children each have a line, counts[0] those with all in one line.
void count_styles(std::string_view content, const Value &value, Value::Type type, size_t (&counts)[2]) {
  if (value.type == type && !value.children.empty()) counts[is_in_lines(content, value) ? 1 : 0]++;
  for (const Value &child : value.children) count_styles(content, child, type, counts);
}

// Whether a new container in `around` gets a line for each child: like most of its neighbours, or else most others.
bool prefers_lines(std::string_view content, const Value &root, const Value *around, Value::Type type) {
  size_t counts[2] = {};
  if (around != nullptr) {
    for (const Value &child : around->children)
      if (child.type == type && !child.children.empty()) counts[is_in_lines(content, child) ? 1 : 0]++;
  }
  if (counts[0] == counts[1]) count_styles(content, root, type, counts);
  return counts[1] > counts[0];
}

std::string indented(const std::string &json, const std::string &line_end, const std::string &indentation) {
  std::vector<std::string_view> lines = line_views(json);
  if (lines.size() < 2) return json;
  std::string_view last = lines.back();
  std::string_view old = last.substr(0, std::min(last.find_first_not_of(" \t"), last.size()));
  std::string result;
  for (std::string_view line : lines) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (!result.empty()) {
      if (line.substr(0, old.size()) == old) line.remove_prefix(old.size());
      result.append(line_end).append(indentation);
    }
    result.append(line);
  }
  return result;
}

// Writes an addition with the layout of the document.
struct Writer {
  const Addition &addition;
  const Layout &layout;
  bool objects_in_lines;
  bool arrays_in_lines;

  std::string container(size_t number, const std::string &indentation) const {
    bool list = addition.names[number] == "+";
    bool lines = list ? arrays_in_lines : objects_in_lines;
    std::string line_start = lines ? layout.line_end + indentation : "";
    std::string more = lines ? layout.indentation : "";
    return (list ? "[" : "{") + line_start + more + child(number, indentation + more) + line_start + (list ? "]" : "}");
  }
  std::string child(size_t number, const std::string &indentation) const {
    const std::string &name = addition.names[number];
    std::string value = number + 1 < addition.names.size() ? container(number + 1, indentation)
                                                           : indented(addition.json, layout.line_end, indentation);
    return name == "+" ? value : quoted(name) + layout.colon + value;
  }
};

// The spaces between a new child and the child before or after it.
std::string gap_for(std::string_view content, const Layout &layout, const Value &parent, size_t index) {
  if (parent.children.size() > 1) {
    size_t neighbour = std::max<size_t>(index, 2) - 1;
    return std::string(gap_before(content, parent.children[neighbour].start));
  }
  std::string_view gap = gap_before(content, parent.children.front().start);
  if (has_line_end(gap)) return std::string(gap);
  return layout.colon.back() == ' ' ? " " : "";
}

std::string with_only_child(const std::string &content, const Value &parent, bool lines, const Layout &layout,
                            const Writer &writer) {
  std::string_view gap = inside(content, parent);
  std::string indentation = indentation_at(content, parent.begin);
  if (!lines && !has_line_end(gap)) {
    std::string child = std::string(gap) + writer.child(0, indentation) + std::string(gap);
    return spliced(content, {{parent.begin + 1, parent.end - 1, child}});
  }
  std::string inner = indentation + layout.indentation;
  std::string child = layout.line_end + inner + writer.child(0, inner) + layout.line_end + indentation;
  return spliced(content, {{parent.begin + 1, parent.end - 1, child}});
}

}  // namespace

std::string spliced(const std::string &content, const std::vector<Splice> &splices) {
  std::string result;
  size_t done = 0;
  for (const Splice &splice : splices) {
    result.append(content, done, splice.from - done).append(splice.text);
    done = splice.to;
  }
  return result.append(content, done);
}

std::string with_value(const std::string &content, const Value &value, const std::string &json) {
  Layout layout = layout_of(content, value);
  return spliced(content,
                 {{value.begin, value.end, indented(json, layout.line_end, indentation_at(content, value.begin))}});
}

std::string with_child(const std::string &content, const Value &root, const Value *around, const Value &parent,
                       size_t index, const Addition &addition) {
  Layout layout = layout_of(content, root);
  bool only = parent.children.empty();
  const Value *neighbours = only ? around : &parent;
  Writer writer{addition, layout, prefers_lines(content, root, neighbours, Value::Type::object),
                prefers_lines(content, root, neighbours, Value::Type::array)};
  // A container with a value of several lines gets a line for each child.
  bool lines_inside = has_line_end(addition.json);
  writer.objects_in_lines = writer.objects_in_lines || lines_inside;
  writer.arrays_in_lines = writer.arrays_in_lines || lines_inside;
  if (only) {
    bool lines = parent.type == Value::Type::array ? writer.arrays_in_lines : writer.objects_in_lines;
    return with_only_child(content, parent, lines, layout, writer);
  }
  std::string gap = gap_for(content, layout, parent, index);
  size_t line_end = gap.rfind('\n');
  size_t place = index > 0 ? parent.children[index - 1].end : parent.children.front().start;
  std::string child =
      writer.child(0, line_end != std::string::npos ? gap.substr(line_end + 1) : indentation_at(content, place));
  return spliced(content, {{place, place, index > 0 ? "," + gap + child : child + "," + gap}});
}

std::string without_child(const std::string &content, const Value &parent, size_t index) {
  const std::vector<Value> &children = parent.children;
  if (children.size() == 1) {
    std::string_view before = gap_before(content, children.front().start);
    return spliced(content, {{parent.begin + 1, parent.end - 1, has_line_end(before) ? "" : std::string(before)}});
  }
  if (index > 0) return spliced(content, {{children[index - 1].end, children[index].end, ""}});
  return spliced(content, {{children[0].start, children[1].start, ""}});
}
