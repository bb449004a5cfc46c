# kzcommon_add_catalog(<target> <file.rc> [<file.rc>...]): a loadable module
# holding the string tables of the .rc files.
