#!/bin/sh
# Checks that each text for the user has its translation in every language: the texts are the pairs of
# literals of which sources make a Translatable or a LocalisedString. Usage: tools/translations.sh [update]
#   update  puts new texts into the translations, empty, and sets aside those that no source has
set -eu
cd "$(dirname "$0")/.."

case $* in
    "" | update) ;;
    *) echo "usage: tools/translations.sh [update]" >&2; exit 2 ;;
esac

folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT

# Line feeds in texts come with carriage returns on purpose, of which each of these programs warns.
quietly() {
    "$@" 2> "$folder/messages" || { grep -v "should not contain the '.r' escape sequence" "$folder/messages" >&2; exit 1; }
}

git ls-files -co --exclude-standard Libraries Applications | grep -E '\.(h|cpp)$' | grep -vE '/(tests|benchmarks)/' > "$folder/sources"
quietly xgettext --files-from="$folder/sources" --from-code=UTF-8 --language=C++ --kde --no-location --output="$folder/all.pot" \
    --keyword --keyword=Translatable:1c,2 --keyword=LocalisedString:1c,2
sed -i 's/charset=CHARSET/charset=UTF-8/' "$folder/all.pot"
for language in Libraries/liblearning/translations/*.po; do
    if [ $# -gt 0 ]; then
        quietly msgmerge --quiet --no-fuzzy-matching --no-wrap --output-file="$folder/new.po" "$language" "$folder/all.pot"
        grep -vE '^"(POT-Creation-Date|Report-Msgid-Bugs-To)' "$folder/new.po" > "$language"
    else
        quietly msgcmp "$language" "$folder/all.pot"
    fi
done
