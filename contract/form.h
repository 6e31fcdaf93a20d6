#pragma once
// Forms and their controls as plain records. A form object owns its controls and has every rule; a
// window (or a test) binds to the records by name, shows what they hold and reports what the user
// does. Nothing here knows a window system.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvorin::contract {

class Control;
class Form;

enum class ControlKind : std::uint8_t {
  kLabel,
  kButton,
  kEdit,
  kCheck,
  kOption,
  kCombo,  // drop-down list: its text is the selected entry's
  kList,
  kFrame,
  kTabs,
  kProgress,
  kGrid,
  kLines,   // lines of text in fixed-width type
  kBreaks,  // lines of text with column breaks
};

/// What a window hears from its form.
class FormView {
 public:
  virtual ~FormView() = default;
  virtual void ControlChanged(Control& control) = 0;
  virtual void CaptionChanged() = 0;
  virtual void FocusMoved(Control& control) = 0;
  /// The form hides itself or unloads: its modal showing ends.
  virtual void Closed() = 0;
};

/// One control. The setters compare, store and tell the view; then handlers run as each says.
class Control {
 public:
  /// `caption` may hold one mnemonic mark, "&"; it is a text of the product and shows in the user's
  /// language. What the setters are given shows as it is.
  Control(Form& form, std::string name, ControlKind kind, std::string_view caption = {});
  virtual ~Control() = default;
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  const std::string& name() const noexcept { return name_; }
  ControlKind kind() const noexcept { return kind_; }
  const std::string& caption() const noexcept { return caption_; }
  /// Contents of an edit box; the selected entry of a list, empty for none.
  const std::string& text() const noexcept;
  bool enabled() const noexcept { return enabled_; }
  bool visible() const noexcept { return visible_; }
  bool value() const noexcept { return value_; }
  const std::vector<std::string>& items() const noexcept { return items_; }
  int item_data(std::size_t index) const noexcept { return item_data_[index]; }
  int list_index() const noexcept { return list_index_; }
  int number() const noexcept { return number_; }
  int maximum() const noexcept { return maximum_; }

  // --- By the form.
  void SetCaption(std::string_view caption);
  /// A changed text of an edit box runs `on_change`.
  void SetText(std::string_view text);
  /// The same without the handler.
  void ShowText(std::string_view text);
  void SetEnabled(bool enabled);
  void SetVisible(bool visible);
  /// A changed check box, and an option button that becomes checked, run `on_click`. The other
  /// option buttons of its group are cleared first.
  void SetValue(bool value);
  /// The same without the handler.
  void ShowValue(bool value);
  /// Entries and selection of lists; no handler runs.
  void AddItem(std::string_view text, int data = 0);
  void RemoveItem(std::size_t index);
  void SetItems(std::vector<std::string> items);
  void Clear();
  void SelectItem(int index);
  /// Value and maximum of a progress bar, kept exactly.
  void SetNumber(int number);
  void SetMaximum(int maximum);
  /// Whether Return presses the button, wherever the focus is.
  void SetDefaultButton(bool is_default);
  void SetAccessibleName(std::string_view name);
  /// Moves the focus here, once the form is on the screen; nothing before.
  void SetFocus();

  // --- By the user, through the window. A disabled control does nothing.
  void UserText(std::string_view text);
  void UserClick();
  void UserSelect(int index);
  void UserDoubleClick();
  /// What was typed is meant to stay: Return was pressed, or the control was left.
  void UserCommit();

  std::function<void()> on_click;
  std::function<void()> on_change;
  std::function<void()> on_commit;
  std::function<void()> on_double_click;
  std::function<void()> on_got_focus;

  /// Name for people who do not see the window; empty: the caption without marks.
  std::string accessible_name;
  std::string tool_tip;
  /// Letter that presses the control together with Alt where its caption marks none; 0 for none.
  char shortcut = 0;
  bool digits_only = false;
  bool file_name = false;  // an edit box for one: its bytes are the file system's, in no code page
  bool password = false;
  int apart = -1;  // entry of a list that is drawn apart and reached by intent only; -1 for none
  bool select_on_focus = false;  // an edit box whose whole text is selected when it gets the focus
  bool keeps_return = false;     // Return ends in the control; no button of the form takes it
  bool default_button = false;
  bool cancel_button = false;
  /// Option buttons of one group exclude each other.
  int group = 0;

 protected:
  void Changed();

 private:
  bool SetQuietly(bool value);

  Form& form_;
  std::string name_;
  ControlKind kind_;
  std::string caption_;
  std::string text_;
  bool enabled_ = true;
  bool visible_ = true;
  bool value_ = false;
  std::vector<std::string> items_;
  std::vector<int> item_data_;
  int list_index_ = -1;
  int number_ = 0;
  int maximum_ = 0;
};

/// A grid with a heading row. Rows and columns are numbered from 0, the heading row not counted.
class Grid : public Control {
 public:
  struct Cell {
    std::string text;
    bool bold = false;
    std::string doubt = {};  // why the cell is marked; empty: it is not
    bool operator==(const Cell&) const = default;
  };
  using Row = std::vector<Cell>;

  Grid(Form& form, std::string name) : Control(form, std::move(name), ControlKind::kGrid) {}

  const std::vector<std::string>& headings() const noexcept { return headings_; }
  const std::vector<int>& widths() const noexcept { return widths_; }  // in twips
  const std::vector<Row>& rows() const noexcept { return rows_; }
  const std::string& cell(std::size_t row, std::size_t column) const {
    return rows_[row][column].text;
  }
  int row() const noexcept { return row_; }  // the current one, -1 for none
  int selected_column() const noexcept { return selected_column_; }

  /// Missing widths become `kDefaultWidth`.
  void Fill(std::vector<std::string> headings, std::vector<Row> rows, std::vector<int> widths = {});
  void SetCell(std::size_t row, std::size_t column, std::string_view text);
  void SetBold(std::size_t row, std::size_t column, bool bold);
  void SetDoubt(std::size_t row, std::size_t column, std::string_view doubt);
  void SetRow(int row);  // no handler
  void SelectColumn(int column);

  /// Columns that share the room a wide window has left, in the proportion of their widths.
  std::vector<int> grown_columns;

  /// The user moved to another row; runs `on_row_change`.
  void UserRow(int row);
  std::function<void(int old_row)> on_row_change;

  static constexpr int kDefaultWidth = 1200;

 private:
  std::vector<std::string> headings_;
  std::vector<int> widths_;
  std::vector<Row> rows_;
  int row_ = -1;
  int selected_column_ = -1;
};

/// A form: a name, a caption and controls. It outlives its window.
class Form {
 public:
  /// The caption is a text of the product.
  explicit Form(std::string name, std::string_view caption = {});
  virtual ~Form() = default;
  Form(const Form&) = delete;
  Form& operator=(const Form&) = delete;

  const std::string& name() const noexcept { return name_; }
  const std::string& caption() const noexcept { return caption_; }
  void SetCaption(std::string_view caption);
  const std::vector<Control*>& controls() const noexcept { return controls_; }

  /// Null takes the view away.
  void SetView(FormView* view) noexcept { view_ = view; }
  FormView* view() const noexcept { return view_; }
  /// On the screen, or about to be.
  bool shown() const noexcept { return shown_; }
  void SetShown(bool shown) noexcept { shown_ = shown; }
  /// Ends the modal showing.
  void Close();

  /// The window is on the screen for the first time.
  virtual void Form_Activate() {}
  /// Esc, or the window's close button.
  virtual void CloseRequested() { Close(); }
  /// F1.
  virtual void HelpRequested() {}
  /// Nobody is left to answer a question: the form ends what it does and closes.
  virtual void Abandoned() { Close(); }

 private:
  friend class Control;
  std::string name_;
  std::string caption_;
  std::vector<Control*> controls_;
  FormView* view_ = nullptr;
  bool shown_ = false;
};

}  // namespace kelvorin::contract
