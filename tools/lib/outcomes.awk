# Turns test reports into outcome lines, one a test: "pass NAME", "fail NAME" or "skip NAME: REASON".
# With -v kind=gtest it reads GoogleTest's XML, with -v kind=ctest the JUnit file that ctest writes.
function attribute(name,    found) {
  if (!match($0, " " name "=\"[^\"]*\"")) return ""
  found = substr($0, RSTART, RLENGTH)
  sub(/^[^"]*"/, "", found)
  sub(/"$/, "", found)
  return plain(found)
}
function plain(text) {
  gsub(/&#x0*A;|&#x0*D;/, " ", text)
  gsub(/&lt;/, "<", text)
  gsub(/&gt;/, ">", text)
  gsub(/&quot;/, "\"", text)
  gsub(/&apos;|&#x27;/, "'", text)
  gsub(/&amp;/, "\\&", text)
  return text
}
function finish() {
  if (state == "skip") print "skip " test ": " (reason == "" ? "no reason given" : reason)
  else print state " " test
  open = 0
}
/<testcase / {
  open = 1
  state = "pass"
  reason = ""
  test = kind == "gtest" ? attribute("classname") "." attribute("name") : attribute("name")
  status = attribute("status")
  if (kind == "ctest" && status == "fail") state = "fail"
  if (attribute("result") == "skipped" || status == "notrun" || status == "disabled") {
    state = "skip"
    if (kind == "gtest" && status == "notrun") reason = "disabled"
  }
  if ($0 ~ /\/>[ \r]*$/) finish()
  next
}
open && /<failure/ { state = "fail" }
# GoogleTest puts the file and the line before the words of the one who skips.
open && /<skipped/ && kind == "gtest" {
  reason = attribute("message")
  sub(/^[^ ]*:[0-9]+ */, "", reason)
}
open && kind == "ctest" && /<system-out>/ {
  reason = $0
  sub(/.*<system-out>/, "", reason)
  sub(/<\/system-out>.*/, "", reason)
  reason = plain(reason)
}
open && /<\/testcase>/ { finish() }
