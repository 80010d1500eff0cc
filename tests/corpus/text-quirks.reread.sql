SELECT
     Orders.ShipCity AS ShipCity, 
     Orders.ShipCountry AS Country, 
     Orders.Freight * 2, 
     count ( * ) AS Cnt
FROM 
     dbo.Orders AS Orders
WHERE
      (a = 1 AND b = 2)
  AND (Orders.ShipCity <> 'Graz')
GROUP BY
     Orders.ShipCountry,
     Orders.Freight * 2
HAVING
      (Max (Orders.Freight) > 5)
ORDER BY
     Cnt ASC,
     Orders.ShipCity ,
     Country 