#pragma once
// What one show says, once, for both of its renderings (ShowRenderer): a
// sequence of parts - text-only lines, fields (one value) and tables
// (columns and rows). Every value is a Cell that carries its JSON encoding
// and its text; a column or field without a key is text only, a column
// marked jsonOnly is left out of the text. Built fresh by a module for each
// show, so both renderings always say the same.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace KorAgent {

class ShowModel {
 public:
  struct Cell {
    std::string json;  // the encoded JSON value
    std::string text;
  };
  static Cell str(std::string const& s);
  static Cell num(uint64_t n);
  static Cell flag(bool b, std::string const& yes, std::string const& no);
  // A value with a JSON form of its own (null, an array, an object).
  static Cell raw(std::string json, std::string text) { return Cell{std::move(json), std::move(text)}; }
  // A JSON object of the pairs' values; its text is given.
  static Cell object(std::vector<std::pair<std::string, Cell>> const& pairs, std::string text);

  struct Column {
    std::string key;    // empty: text only
    std::string label;  // text before the value
    int width = 0;      // the text value padded to it
    bool text = true;   // false: JSON only
  };
  static Column col(std::string key, std::string label = "", int width = 0) {
    return Column{std::move(key), std::move(label), width, true};
  }
  static Column jsonOnly(std::string key) { return Column{std::move(key), "", 0, false}; }
  static Column textOnly(std::string label, int width = 0) { return Column{"", std::move(label), width, true}; }

  // How a table appears in JSON: an array of objects, an array of the first
  // column's values, or an object keyed by the first column.
  enum class Form { objects, values, keyed };
  struct Row {
    std::vector<Cell> cells;
    std::vector<std::string> after;  // text-only lines under the row
  };
  struct Part {
    enum class Kind { line, field, table } kind;
    std::string key;    // JSON key of a field or table
    std::string label;  // text before a field's value; a line's text
    Cell cell;
    std::string indent;  // of a table's text rows
    std::vector<Column> columns;
    Form form = Form::objects;
    std::vector<Row> rows;
  };

  void lineAdd(std::string text);
  void fieldAdd(std::string key, std::string label, Cell cell);
  void tableAdd(std::string key, std::string indent, std::vector<Column> columns, Form form = Form::objects);
  // A row of the last table added.
  void rowAdd(std::vector<Cell> cells, std::vector<std::string> after = {});
  std::vector<Part> const& parts() const { return parts_; }

 private:
  std::vector<Part> parts_;
};

}  // namespace KorAgent
