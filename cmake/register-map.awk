# Turns the CPLD register header into the register-map page: one table per
# section of the header, a row for each register and one for each field. A mask
# belongs to the register above it, and to those that its comment names with
# "also in".
# usage: awk -f register-map.awk board_hal_cpld.h

/^\/\* ---- / {
    title = $0
    gsub(/^\/\* ---- | -+ \*\/$/, "", title)
    section = title
    next
}

/^\/\*\*/ {
    meaning = $0
    gsub(/^\/\*\* | \*\/$/, "", meaning)
    shared = ""
    rest = meaning
    while (match(rest, /CPLD_REG_[A-Z0-9_]+/)) {
        shared = shared " " substr(rest, RSTART, RLENGTH)
        rest = substr(rest, RSTART + RLENGTH)
    }
    next
}

$1 != "#define" || $3 !~ /^0x/ { next }

$2 ~ /^CPLD_REG_/ {
    register = $2
    registers[++count] = register
    section_of[register] = section
    offset[register] = $3
    about[register] = meaning
    next
}

{
    add(register)
    others = split(shared, other, " ")
    for (i = 1; i <= others; ++i) {
        add(other[i])
    }
}

# Fields of a register that the header defines further down are kept until then.
function add(owner)
{
    n = ++fields[owner]
    mask[owner, n] = $3
    name[owner, n] = $2
    text = meaning == about[register] ? words($2) : meaning
    sub(/ \(also in [^)]*\)/, "", text)
    sub(/; also in [^.]*/, "", text)
    explained[owner, n] = text
}

# What a mask without a comment of its own is called: its name in words.
function words(macro)
{
    sub(/^CPLD_/, "", macro)
    gsub(/_/, " ", macro)
    return substr(macro, 1, 1) tolower(substr(macro, 2)) "."
}

function hex(text,    i, value)
{
    value = 0
    for (i = 3; i <= length(text); ++i) {
        value = value * 16 + index("0123456789ABCDEF", toupper(substr(text, i, 1))) - 1
    }
    return value
}

# "7", "6-4" or "6, 3": the bits of a mask.
function bits(text,    value, bit, high, result)
{
    value = hex(text)
    result = ""
    for (bit = 7; bit >= 0; --bit) {
        if (int(value / 2 ^ bit) % 2 == 0) {
            continue
        }
        high = bit
        while (bit > 0 && int(value / 2 ^ (bit - 1)) % 2 == 1) {
            --bit
        }
        result = result (result == "" ? "" : ", ") (high == bit ? high : high "-" bit)
    }
    return result
}

function field_row(owner, n)
{
    printf "| | %s | `%s` | %s |\n", bits(mask[owner, n]), name[owner, n], explained[owner, n]
}

# Highest bit first.
function fields_of(owner,    n, wanted)
{
    for (wanted = 255; wanted > 0; --wanted) {
        for (n = 1; n <= fields[owner]; ++n) {
            if (hex(mask[owner, n]) == wanted) {
                field_row(owner, n)
            }
        }
    }
}

END {
    print "# CPLD register map"
    print ""
    print "Written by `scripts/register-map.sh` from `include/board_hal_cpld.h`; do not"
    print "edit. Offsets are those of the window at `g_cpld_base_addr`. Bit 7 is the most"
    print "significant bit. Registers that are not listed have no meaning to the library;"
    print "`get_cpld_reg()`, `set_cpld_reg()` and `dump_cpld_regester()` reach them all the"
    print "same."
    for (i = 1; i <= count; ++i) {
        register = registers[i]
        if (section_of[register] != printed) {
            printed = section_of[register]
            printf "\n## %s\n\n| Offset | Bits | Name | Meaning |\n|---|---|---|---|\n", printed
        }
        printf "| %s | 7-0 | `%s` | %s |\n", offset[register], register, about[register]
        fields_of(register)
    }
}
