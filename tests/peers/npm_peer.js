// npm_peer.js URL - a control point on upnp-device-client. Browses the media
// server of that description and prints "DIGEST TITLE" of each item.
'use strict';
const crypto = require('crypto');
const http = require('http');
const Client = require('upnp-device-client');
const elementtree = require('elementtree');

const client = new Client(process.argv[2]);

function show(item) {
  http.get(item.findtext('res'), (response) => {
    const digest = crypto.createHash('sha256');
    response.on('data', (bytes) => digest.update(bytes));
    response.on('end', () =>
      console.log(digest.digest('hex') + ' ' + item.findtext('dc:title')));
  });
}

function browse(container) {
  client.callAction('ContentDirectory', 'Browse', {
    ObjectID: container, BrowseFlag: 'BrowseDirectChildren', Filter: '*',
    StartingIndex: 0, RequestedCount: 0, SortCriteria: '+dc:title',
  }, (error, answer) => {
    if (error) throw error;
    const didl = elementtree.parse(answer.Result);
    didl.findall('container').forEach((found) => browse(found.get('id')));
    didl.findall('item').forEach(show);
  });
}

browse('0');
