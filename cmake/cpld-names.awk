# Turns the CPLD register header into tables of names, for the virtual board's
# narrative. A mask belongs to the register defined above it, and to those that
# its comment names with "also in".
# usage: awk -f cpld-names.awk board_hal_cpld.h

/^\/\*\*/ { shared = "" }

/also in/ {
    rest = $0
    while (match(rest, /CPLD_REG_[A-Z0-9_]+/)) {
        shared = shared " " substr(rest, RSTART, RLENGTH)
        rest = substr(rest, RSTART + RLENGTH)
    }
}

$1 != "#define" || $3 !~ /^0x/ { next }

$2 ~ /^CPLD_REG_/ {
    above = $2
    offset[$2] = $3
    register[++registers] = $2
    next
}

{
    bits(above)
    count = split(shared, also, " ")
    for (i = 1; i <= count; ++i) {
        bits(also[i])
    }
}

function bits(owner)
{
    ++masks
    mask_owner[masks] = owner
    mask[masks] = $3
    mask_name[masks] = substr($2, length("CPLD_") + 1)
}

END {
    print "constexpr RegisterName register_table[] = {"
    for (i = 1; i <= registers; ++i) {
        name = register[i]
        printf "    {%s, \"%s\"},\n", offset[name], substr(name, length("CPLD_REG_") + 1)
    }
    print "};"
    print "constexpr BitsName bits_table[] = {"
    for (i = 1; i <= masks; ++i) {
        printf "    {%s, %s, \"%s\"},\n", offset[mask_owner[i]], mask[i], mask_name[i]
    }
    print "};"
}
