FROM
     dbo.Orders AS Orders 
     INNER JOIN dbo.Customers AS Customers
     ON Orders.CustomerID = Customers.CustomerID 
     LEFT OUTER JOIN dbo.Shippers AS Shippers
     ON Orders.ShipVia = Shippers.ShipperID
     CROSS JOIN dbo.Region AS Region