"""The configuration of a private system bus: the stock system bus's defaults, one policy file, and limits that a single
peer with thousands of calls under way does not reach."""
from . import files

LIMITS = {"max_incoming_bytes": 1000000000, "max_outgoing_bytes": 1000000000, "max_completed_connections": 100000,
          "max_incomplete_connections": 10000, "max_connections_per_user": 100000, "max_names_per_connection": 100000,
          "max_match_rules_per_connection": 100000, "max_replies_per_connection": 1000000}

BEGIN = """\
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <auth>EXTERNAL</auth>
  <listen>unix:path={socket}</listen>

  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Introspectable"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Properties"/>
    <deny send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"
          send_member="UpdateActivationEnvironment"/>
    <deny send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Debug.Stats"/>
    <deny send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.systemd1.Activator"/>
  </policy>
  <policy user="root">
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Monitoring"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Debug.Stats"/>
  </policy>

  <include>{policy}</include>

"""


def write(config, socket, policy, *extra, stock_limits=False):
    """Writes it; `extra` are further lines, which count more than what stands before them."""
    limits = [] if stock_limits else [f'  <limit name="{name}">{value}</limit>' for name, value in LIMITS.items()]
    lines = (*limits, *extra, "</busconfig>")
    files.write(config, BEGIN.format(socket=socket, policy=policy) + "".join(line + "\n" for line in lines))
