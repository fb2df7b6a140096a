# gupnp_peer.py INTERFACE - a control point on GUPnP. Finds the media server and
# calls what it offers. Prints "DIGEST TITLE" of each item, one a line, and on
# standard error the answers of ConnectionManager.
import hashlib
import sys
import urllib.request

import gi
gi.require_version('GSSDP', '1.6')
gi.require_version('GUPnP', '1.6')
gi.require_version('GUPnPAV', '1.0')
from gi.repository import GLib, GSSDP, GUPnP, GUPnPAV

CONNECTION_INFO = ('RcsID', 'AVTransportID', 'ProtocolInfo',
                   'PeerConnectionManager', 'PeerConnectionID', 'Direction',
                   'Status')


def call(service, name, arguments, results):
    action = GUPnP.ServiceProxyAction.new_from_list(
        name, list(arguments.keys()), list(arguments.values()))
    service.call_action(action)
    return action.get_result_list(results, [str] * len(results))[1]


def ask(service, name, arguments, results):
    try:
        answer = call(service, name, arguments, results)
    except GLib.Error as error:
        answer = error.code, error.message
    print(name, *answer, file=sys.stderr, sep='|')


def show(item):
    with urllib.request.urlopen(item.get_resources()[0].get_uri()) as body:
        print(hashlib.sha256(body.read()).hexdigest(), item.get_title())


def browse(directory, container):
    didl = call(directory, 'Browse',
                {'ObjectID': container, 'BrowseFlag': 'BrowseDirectChildren',
                 'Filter': '*', 'StartingIndex': 0, 'RequestedCount': 0,
                 'SortCriteria': '+dc:title'}, ['Result'])[0]
    parser = GUPnPAV.DIDLLiteParser.new()
    parser.connect('container-available',
                   lambda _, found: browse(directory, found.get_id()))
    parser.connect('item-available', lambda _, found: show(found))
    parser.parse_didl(didl)


def found(_, device, loop):
    manager, directory = (
        device.get_service('urn:schemas-upnp-org:service:' + name)
        for name in ('ConnectionManager:1', 'ContentDirectory:1'))
    browse(directory, '0')
    ask(manager, 'GetProtocolInfo', {}, ['Source', 'Sink'])
    ask(manager, 'GetCurrentConnectionIDs', {}, ['ConnectionIDs'])
    for connection in '0', '7', '-1', 'x':
        ask(manager, 'GetCurrentConnectionInfo', {'ConnectionID': connection},
            CONNECTION_INFO)
    loop.quit()


loop = GLib.MainLoop()
point = GUPnP.ControlPoint.new(
    GUPnP.Context.new_full(sys.argv[1], None, 0,
                           GSSDP.UDAVersion.VERSION_1_0),
    'urn:schemas-upnp-org:device:MediaServer:1')
point.connect('device-proxy-available', found, loop)
point.set_active(True)
loop.run()
