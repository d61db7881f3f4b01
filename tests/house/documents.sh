#!/bin/bash
# Every public header of a room has its page in docs/, every page has the form of the others, and no link in a page or in
# the README leads nowhere.
set -u
cd "$1" || exit 1
status=0
for page in docs/q7*.md; do
  head -n 1 "$page" | grep -qE '^# q7[a-z0-9_]+: ' || { echo "$page: the first line is not '# q7name: what it is'"; status=1; }
  grep -q '^## What it is for$' "$page" || { echo "$page: no section 'What it is for'"; status=1; }
done
for header in core/q7*.h app/q7*.h io/q7*.h math/q7*.h ui/q7*.h lang/q7*.h platform/q7*.h; do
  [ -f "$header" ] || continue
  name=$(basename "$header" .h)
  [ "$name" = q7types ] || [ -f "docs/$name.md" ] || { echo "$header: no page docs/$name.md"; status=1; }
done
for page in README.md CONTRIBUTING.md SECURITY.md docs/*.md; do
  folder=$(dirname "$page")
  for link in $(grep -oE '\]\([^)#]+' "$page" | cut -c3- | grep -vE '^[a-z]+:'); do
    [ -e "$folder/$link" ] || { echo "$page: $link does not exist"; status=1; }
  done
done
exit $status
