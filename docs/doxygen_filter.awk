# Turns the plain comments of a header into Doxygen's own. The comment at the top
# is the file's, one before a declaration is the declaration's, one behind it on its line too.
# Indented lines (tables, examples) stand as they are.

function escaped(text) {
  gsub(/[\\@<>&#$%"]/, "\\\\&", text)
  return text
}

# The text of a comment line without its slashes.
function text_of(line) {
  sub(/^ *\/\/ ?/, "", line)
  return line
}

function begin_block() {
  in_block = 1
  print seen_code ? "/**" : "/** @file"
  after_blank = 1
}

function end_verbatim() {
  if (in_verbatim) print "@endverbatim"
  in_verbatim = 0
}

function end_block() {
  end_verbatim()
  print "*/"
  in_block = 0
}

# Headings between groups of declarations, and notes to tools, belong to no declaration.
/^ *\/\/ (----|NOLINT|clang-format)/ { next }

# Doxygen cannot place a specialisation of a template of the standard library.
/^template <>$/ { held = $0; next }
held != "" && /^struct std::/ { skipping = 1 }
skipping {
  if ($0 == "};") {
    skipping = 0
    held = ""
  }
  next
}
held != "" {
  print held
  held = ""
}

/^ *\/\// {
  if (!in_block) begin_block()
  text = text_of($0)
  if (text ~ /^  / && (after_blank || in_verbatim)) {
    if (!in_verbatim) print "@verbatim"
    in_verbatim = 1
    print text
  } else if (text == "") {
    print ""
    after_blank = 1
    next
  } else {
    end_verbatim()
    print escaped(text)
  }
  after_blank = 0
  next
}

{
  if (in_block) end_block()
  seen_code = 1
  sub(/namespace \[\[gnu::visibility\("default"\)\]\] /, "namespace ")
  sub(/ *\/\/ NOLINT.*/, "")
  if (match($0, /[;,}{)] *\/\/ /)) {
    before = substr($0, 1, RSTART)
    print before " ///< " escaped(substr($0, RSTART + RLENGTH))
    next
  }
  print
}
