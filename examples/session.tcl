# A first session: finding commands with help, and saving and restoring the session state.
#
#   zonesmith examples/session.tcl

puts "== What can I do with zones? (help matches command names and short aliases)"
help *zone_field

puts "\n== One command by its short alias"
help slz

puts "\n== The session as it starts: no bindings, nothing selected"
show

puts "\n== push saves the session, pop brings it back"
push
puts "saved one frame"
pop
puts "restored it"
if {[catch {pop} message]} {
  puts "a second pop has nothing to restore: $message"
}

puts "\n== A command used with too few words answers its usage"
if {[catch {get_bind_info example.test} message]} {
  puts $message
}
