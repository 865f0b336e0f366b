# Compares tables of service_figures, from files whose names end in before.N and now.N: prints the median of each
# figure before and now, and the change. Exit status 1 if a figure is more than 2 % worse, or is missing in a table.
# A figure without a goal belongs to the one above, and less of it is better.

function median(list,    values, count, i, j, kept) {
  count = split(list, values)
  for (i = 2; i <= count; ++i) {
    kept = values[i]
    for (j = i - 1; j > 0 && values[j] + 0 > kept + 0; --j) values[j + 1] = values[j]
    values[j + 1] = kept
  }
  return values[int((count + 1) / 2)]
}

FNR == 1 {
  side = FILENAME ~ /before\.[0-9]+$/ ? "before" : "now"
  ++tables[side]
}

/^figure/ { next }

{
  name = substr($0, 1, 48)
  sub(/ +$/, "", name)
  if (name ~ /^  /) name = above "," substr(name, 2)
  else above = name
  if (!(name in is_more_better)) names[++count] = name
  is_more_better[name] = / >= /
  value = substr($0, 50, 12)
  if (value !~ /nan/) { figures[side, name] = figures[side, name] " " value; ++found[side, name] }
}

END {
  printf "%-64s %12s %12s %10s\n", "figure (median of " tables["now"] ")", "before", "now", "change"
  for (i = 1; i <= count; ++i) {
    name = names[i]
    if (found["before", name] != tables["before"] || found["now", name] != tables["now"]) {
      printf "%-64s NOT MEASURED\n", name
      is_missed = 1
      continue
    }
    before = median(figures["before", name])
    now = median(figures["now", name])
    change = before == 0 ? 0 : 100 * (now - before) / before
    is_worse = (is_more_better[name] ? -change : change) > 2
    printf "%-64s %12.3f %12.3f %8.1f %%%s\n", name, before, now, change, is_worse ? "  WORSE" : ""
    is_missed = is_missed || is_worse
  }
  exit is_missed || count == 0
}
